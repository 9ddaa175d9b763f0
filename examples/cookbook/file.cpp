// Sends a file in a message, and keeps the file that arrives.
#include <tmsg/tmsg.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

constexpr auto body = Message::TMG_BODY;

int main() {
    std::ofstream("drawing.txt") << "a bolt\n";
    Message request = Message::request("drawing.store");
    request.add_file(body, "drawing", "drawing.txt");  // opens the file for reading

    // The content of the file travels. It arrives as a new file under /tmp.
    std::unique_ptr<Message> const received = tm_from_bytes(tm_to_bytes(request));
    Tm_file const& file = *received->get_member_file(body, "drawing");
    std::cout << "a file of " << file.size() << " bytes\n";

    // You own the file. Take it away, or remove all files of the message.
    std::filesystem::copy_file(file.path(), "stored.txt",
                               std::filesystem::copy_options::overwrite_existing);
    tm_remove_received_files(*received);

    std::cout << std::ifstream("stored.txt").rdbuf();
    std::cout << (std::filesystem::exists(file.path()) ? "left behind\n" : "cleaned up\n");
    std::filesystem::remove("drawing.txt");
    std::filesystem::remove("stored.txt");
}
