// A point in space.
#pragma once

#include "gemat3d.h"
