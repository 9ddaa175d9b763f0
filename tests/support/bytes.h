/// Bytes as readable text and back.
#pragma once

#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

/// "00 01 0A" to bytes; blanks are free.
inline Bytes from_hex(std::string const& text) {
    Bytes bytes;
    std::string digits;
    for (char const c : text) {
        if (c != ' ') digits += c;
        if (digits.size() == 2) {
            bytes.push_back(static_cast<unsigned char>(std::stoi(digits, nullptr, 16)));
            digits.clear();
        }
    }
    return bytes;
}

inline std::string to_hex(Bytes const& bytes) {
    char const digits[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned char const byte : bytes) {
        if (!text.empty()) text += ' ';
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

/// Bytes that differ from their neighbours and repeat late.
inline std::string pattern(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 7 + i / 256);
    return text;
}
