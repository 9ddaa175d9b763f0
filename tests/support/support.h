/// The helpers of all tests.
#pragma once

#include "support/recorder.h"
#include "support/samples.h"
#include "support/text.h"
#include "support/wire.h"
