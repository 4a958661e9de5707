// A direction in space.
#pragma once

#include "gemat3d.h"
