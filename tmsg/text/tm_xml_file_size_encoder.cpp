#include "tmsg/text/tm_xml_file_size_encoder.h"

#include "tmsg/value/tm_decimal.h"

Tm_xml_file_size_encoder::~Tm_xml_file_size_encoder() = default;

bool Tm_xml_file_size_encoder::visit_file_begin(unsigned int length) {
    return put_value("file", Tm_decimal(length));
}

bool Tm_xml_file_size_encoder::visit_file_continue(char const*, unsigned int) { return true; }
