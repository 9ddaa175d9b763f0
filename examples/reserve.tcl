request {
    name "stock.reserve"
    struct {}
    struct {
        "article" {string "bolt M8"}
        "count" {int32_t 250}
        "weights" {array {double 0.25 double 1.5}}
        "code" {binary 3 "M8\x2b"}
    }
}
