/// The exact text of what a call throws.
#pragma once

#include <tmsg/tmsg.h>

#include <string>

template <class Exception = Tm_exception, class Call>
std::string text_thrown_by(Call call) {
    try {
        call();
    } catch (Exception const& thrown) { return thrown.what(); }
    return "nothing thrown";
}

#define EXPECT_THROWS(text, call) EXPECT_EQ(text, text_thrown_by([&] { call; }))
