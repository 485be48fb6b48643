#include "support/early_exit.h"
