#include "sve/memory/fault.h"

#include "sve/core/generic.h"

void SVEInitialize() {
    ctxt = &cpu_ctxt;
    cpu_ctxt.vl_words = 2;
}
