#pragma once

#include "run/CollectLimit.h"
#include "run/CollectParams.h"
#include "run/TimeUtils.h"
