#pragma once
// The former place of `temporary`.

#include "support/files.h"
