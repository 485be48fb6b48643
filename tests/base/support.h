#pragma once
// What the tests of base, and those of other folders without needs of their own, include.

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <tuple>
#include <utility>

#include "support/console.h"
#include "support/files.h"
#include "support/matrices.h"
