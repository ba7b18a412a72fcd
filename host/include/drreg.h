// The register-reservation extension: only its exit is used.
#pragma once

#include "dr_api.h"

enum drreg_status_t {
    DRREG_SUCCESS = 0,
    DRREG_ERROR,
    DRREG_ERROR_INVALID_PARAMETER,
    DRREG_ERROR_FEATURE_NOT_AVAILABLE,
    DRREG_ERROR_REG_CONFLICT,
    DRREG_ERROR_IN_USE,
    DRREG_ERROR_OUT_OF_SLOTS,
    DRREG_ERROR_NO_APP_VALUE,
};

DR_API drreg_status_t drreg_exit(void);
