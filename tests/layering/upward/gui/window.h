#pragma once
#include "core/state.h"
