// Kept for tests that include it by this name.
#pragma once
#include "reference.h"
