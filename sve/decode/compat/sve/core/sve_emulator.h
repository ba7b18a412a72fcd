// The decoder's public header under its former path, for code that still includes it from there.
#pragma once
#include "sve/decode/sve_emulator.h"
