/// The free functions over values and plain data, in one include.
#pragma once

#include "tmsg/value/tm_byte_order.h"
#include "tmsg/value/tm_byte_strings.h"
#include "tmsg/value/tm_enum.h"
#include "tmsg/value/tm_number_text.h"
#include "tmsg/value/tm_value.h"
