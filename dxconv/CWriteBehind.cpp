#include "dxconv/CWriteBehind.h"

#include "dxconv/CError.h"
#include "dxconv/text.h"

#include <utility>

CWriteBehind::~CWriteBehind() {
    if (!m_thread)
        return;
    WaitWritten();
    m_piece.clear();
    ::SetEvent(m_given.Get());
    ::WaitForSingleObject(m_thread.Get(), INFINITE);
}

void CWriteBehind::Write(std::vector<std::uint8_t>& piece) {
    if (piece.empty())
        return;
    Finish();
    if (!m_thread)
        Start();
    m_piece.swap(piece);
    m_underWay = true;
    ::SetEvent(m_given.Get());
}

void CWriteBehind::Finish() {
    WaitWritten();
    if (m_failure)
        std::rethrow_exception(std::exchange(m_failure, nullptr));
}

void CWriteBehind::WaitWritten() {
    if (m_underWay)
        ::WaitForSingleObject(m_written.Get(), INFINITE);
    m_underWay = false;
}

void CWriteBehind::Start() {
    m_given.Reset(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    m_written.Reset(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (m_given && m_written)
        m_thread.Reset(::CreateThread(nullptr, 0, Entry, this, 0, nullptr));
    if (!m_thread)
        throw CError(ExitCode::Internal, "writing",
            "no thread can be started: " + SystemErrorText() + "; close other programs to free memory");
}

DWORD WINAPI CWriteBehind::Entry(void* self) {
    static_cast<CWriteBehind*>(self)->Run();
    return 0;
}

void CWriteBehind::Run() {
    for (;;) {
        ::WaitForSingleObject(m_given.Get(), INFINITE);
        if (m_piece.empty())
            return;
        try {
            m_writer.WriteAudio(m_piece.data(), m_piece.size());
        } catch (...) { // for the other thread
            m_failure = std::current_exception();
        }
        ::SetEvent(m_written.Get());
    }
}
