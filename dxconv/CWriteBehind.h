#pragma once

#include "dxconv/CWavWriter.h"
#include "support/handles.h"

#include <exception>
#include <vector>

/// Writes audio on a thread of its own while the caller makes more of it; one piece is under way at a time.
/// The thread starts with the first piece, ends with this object and uses nothing but the writer, which is
/// the caller's again after Finish. What fails is thrown by the call that follows: what the writer throws,
/// and CError with ExitCode::Internal without a thread. Thread: one.
class CWriteBehind {
public:
    /// The writer is borrowed.
    explicit CWriteBehind(CWavWriter& writer) : m_writer(writer) {}
    ~CWriteBehind();
    CWriteBehind(const CWriteBehind&) = delete;
    CWriteBehind& operator=(const CWriteBehind&) = delete;

    /// Waits until the piece before is written, takes this one over and leaves another buffer in its place.
    void Write(std::vector<std::uint8_t>& piece);
    /// Returns when all is written.
    void Finish();

private:
    static DWORD WINAPI Entry(void* self);
    void Run();
    void Start();
    void WaitWritten();

    CWavWriter& m_writer;
    CKernelHandle m_thread;
    CKernelHandle m_given;   // a piece, or nothing: the end
    CKernelHandle m_written; // it, or m_failure is set
    bool m_underWay = false;
    std::vector<std::uint8_t> m_piece; // the thread's from m_given to m_written
    std::exception_ptr m_failure;      // likewise
};
