// The vector library in one include: vectors, matrices, vector lists, precision I/O, the
// calculation base, correlation and the exception types.
#pragma once

#include "ondrix/vec/exceptions.h"
#include "ondrix/vec/kernels.h"
#include "ondrix/vec/TVec.h"
#include "ondrix/vec/TMtx.h"
#include "ondrix/vec/TVecList.h"
#include "ondrix/vec/precision.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/correlation.h"
