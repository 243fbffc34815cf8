#pragma once

#include "dsp/dsp_api.h"
#include "support/handles.h"

#include <string>

/// The log files that the module writes to: error.log, info.log and trace.log in a folder, which is made when
/// it is missing; earlier contents stay. Without a folder the errors alone go to a temporary file, for
/// LastError. Errors: CError with ExitCode::Output.
class CHostLogs {
public:
    explicit CHostLogs(const std::string& folder);

    /// The handles stay this object's.
    DSPHostContext Context() const { return {m_error.Get(), m_info.Get(), m_trace.Get()}; }

    /// The last line of this run's errors, UTF-8; empty when there is none.
    std::string LastError() const;

private:
    CKernelHandle m_error;
    CKernelHandle m_info;
    CKernelHandle m_trace;
    LARGE_INTEGER m_start{}; // length of error.log before this run
};
