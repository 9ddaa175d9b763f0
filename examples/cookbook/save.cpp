// Saves messages to an SQLite database, and reads them back.
#include <sqlite3.h>
#include <tmsg/tmsg.h>

#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

using Database = std::unique_ptr<sqlite3, decltype(&sqlite3_close)>;
using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

Statement prepare(sqlite3* database, char const* sql) {
    sqlite3_stmt* made = nullptr;
    int const result = sqlite3_prepare_v2(database, sql, -1, &made, nullptr);
    if (result != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(database));
    return {made, sqlite3_finalize};
}

void save(sqlite3* database, Message const& request) {
    std::string const bytes = tm_to_bytes(request);
    std::string const& method = request.get_request_name();
    Statement const insert = prepare(database, "INSERT INTO requests VALUES (?, ?)");
    sqlite3_bind_text(insert.get(), 1, method.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_blob64(insert.get(), 2, bytes.data(), bytes.size(), SQLITE_TRANSIENT);
    if (sqlite3_step(insert.get()) != SQLITE_DONE)
        throw std::runtime_error(sqlite3_errmsg(database));
}

int main() {
    sqlite3* opened = nullptr;
    int const result = sqlite3_open(":memory:", &opened);
    Database const database(opened, sqlite3_close);
    if (result != SQLITE_OK) return 1;
    sqlite3_step(prepare(opened, "CREATE TABLE requests (method TEXT, message BLOB)").get());

    for (int const count : {250, 30}) {
        Message request = Message::request("stock.reserve");
        request.add_member(Message::TMG_BODY, "count", count);
        save(opened, request);
    }

    Statement const select = prepare(opened, "SELECT method, message FROM requests");
    while (sqlite3_step(select.get()) == SQLITE_ROW) {
        auto const* const bytes = static_cast<char const*>(sqlite3_column_blob(select.get(), 1));
        auto const size = static_cast<std::size_t>(sqlite3_column_bytes(select.get(), 1));
        std::unique_ptr<Message> const request = tm_from_bytes({bytes, size});
        std::cout << sqlite3_column_text(select.get(), 0) << ": "
                  << request->get_member_int32(Message::TMG_BODY, "count") << '\n';
    }
}
