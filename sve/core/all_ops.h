// Declarations of every operation and form that the decode rows name, gathered for the handler
// generator. Each family owns one header.
#pragma once

#include "sve/core/forms.h"

#if __has_include("sve/integer/ops.h")
#include "sve/integer/ops.h"
#endif
#if __has_include("sve/integer/pred_ops.h")
#include "sve/integer/pred_ops.h"
#endif
#if __has_include("sve/memory/ops.h")
#include "sve/memory/ops.h"
#endif
#if __has_include("sve/fp/vector/ops.h")
#include "sve/fp/vector/ops.h"
#endif
