// The check of answers in the demo of a cluster sees each wrong answer.
#include "../../examples/nats/parcel.h"

#include <functional>

#include "support/support.h"

namespace {

constexpr unsigned int count = 40;

Receipt receipt_for(Parcel const& parcel, Scratch const& scratch) {
    Message const request = parcel.request(scratch.file("parcel", ""));
    auto const arrived = tm_from_bytes(tm_to_bytes(request));
    Receipt const receipt = receive_parcel(*arrived, "worker");
    EXPECT_TRUE(tm_remove_received_files(*arrived));
    return tm_from_struct<Receipt>(tm_to_struct(receipt));
}

}  // namespace

TEST(Parcel, HasEachSizeAndKind) {
    Scratch const scratch;
    unsigned long least = Parcel::largest;
    unsigned long most = 0;
    bool has_kind[4] = {};
    for (unsigned int number = 0; number < count; ++number) {
        Receipt const receipt = receipt_for(Parcel(number, count), scratch);
        Digest const digests[] = {receipt.numbers, receipt.texts, receipt.blob, receipt.file};
        unsigned long bytes = 0;
        for (int kind = 0; kind < 4; ++kind) {
            bytes += digests[kind].bytes;
            has_kind[kind] = has_kind[kind] || digests[kind].bytes > 0;
        }
        least = std::min(least, bytes);
        most = std::max(most, bytes);
    }
    EXPECT_LT(least, 20UL);
    EXPECT_GE(most, 1UL * Parcel::largest);
    EXPECT_TRUE(has_kind[0] && has_kind[1] && has_kind[2] && has_kind[3]);
}

TEST(Parcel, TakesItsOwnReceiptAlone) {
    using Change = std::function<void(Receipt&)>;
    Change const changes[] = {[](Receipt& r) { ++r.number; },    [](Receipt& r) { ++r.numbers.crc; },
                              [](Receipt& r) { ++r.texts.crc; }, [](Receipt& r) { ++r.blob.bytes; },
                              [](Receipt& r) { ++r.file.crc; },  [](Receipt& r) { r.inverted = binary_of("no"); }};
    Scratch const scratch;
    for (unsigned int number = 0; number < 8; ++number) {
        Parcel const parcel(number, count);
        Receipt const right = receipt_for(parcel, scratch);
        EXPECT_TRUE(parcel.is_receipt(right)) << number;
        // The next one of the same kind.
        EXPECT_FALSE(Parcel(number + 4, count).is_receipt(right)) << number;
        for (Change const& change : changes) {
            Receipt wrong = right;
            change(wrong);
            EXPECT_FALSE(parcel.is_receipt(wrong)) << number;
        }
    }
}
