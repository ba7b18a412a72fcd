// The trace under its former path, for code that still includes it from here.
#pragma once
#include "sve/trace/trace.h"
