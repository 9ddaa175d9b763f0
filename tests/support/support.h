/// All that the tests share.
#pragma once

#include "support/recorder.h"
#include "support/samples.h"
#include "support/wire.h"
