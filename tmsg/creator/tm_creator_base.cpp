#include "tmsg/creator/tm_creator_base.h"

Tm_creator_base::Tm_creator_base() = default;

Tm_creator_base::~Tm_creator_base() = default;

bool Tm_creator_base::visit_member_begin_with_index(unsigned short) { return false; }

bool Tm_creator_base::visit_member_continue_with_index(unsigned short) { return false; }
