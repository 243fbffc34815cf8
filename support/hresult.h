#pragma once

#include <windows.h>

/// Leaves the function with the failure that `expression` gives. For functions that hold nothing but RAII
/// owners.
#define RETURN_IF_FAILED(expression)          \
    do {                                      \
        const HRESULT result_ = (expression); \
        if (FAILED(result_))                  \
            return result_;                   \
    } while (false)
