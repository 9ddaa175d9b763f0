/// Includes all of libtmsg-nats, the calls of tmsg over NATS.
#pragma once

#include "tmsg/nats/tm_nats_caller.h"
#include "tmsg/nats/tm_nats_options.h"
#include "tmsg/nats/tm_nats_service.h"
