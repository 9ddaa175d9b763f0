/// An XML encoder that writes a file as its size in bytes, without its contents:
/// `<value><file>SIZE</file></value>`.
#pragma once

#include "tmsg/text/tm_xml_encoder.h"

class TMSG_API Tm_xml_file_size_encoder : public Tm_xml_encoder {
public:
    using Tm_xml_encoder::Tm_xml_encoder;
    ~Tm_xml_file_size_encoder() override;

    using Tm_xml_encoder::visit_file_begin;
    bool visit_file_begin(unsigned int length) override;
    using Tm_xml_encoder::visit_file_continue;
    bool visit_file_continue(char const* data, unsigned int length) override;
};
