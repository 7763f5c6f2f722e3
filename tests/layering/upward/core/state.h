#pragma once
#include "gui/window.h"
