#include "support/test_support.h"
