#pragma once

#include "dxconv/files.h"
#include "dxconv/text.h"

#include <doctest/doctest.h>
#include <cstdint>
#include <filesystem>
#include <functional>

// Bytes are std::string here: comparisons and joins are what tests do with them. Names and paths are UTF-8.

/// Little-endian, `bytes` long.
inline std::string Le(std::uint64_t value, std::size_t bytes) {
    return {reinterpret_cast<const char*>(&value), bytes};
}

/// A chunk with its pad byte.
inline std::string Chunk(const std::string& id, const std::string& body) {
    return id + Le(body.size(), 4) + body + std::string(body.size() % 2, '\0');
}

inline std::string Riff(const std::string& chunks) {
    return "RIFF" + Le(4 + chunks.size(), 4) + "WAVE" + chunks;
}

/// Body of a fmt chunk. tag 0xFFFE: extensible with a PCM sub-format.
inline std::string Format(unsigned tag, unsigned channels, unsigned bits, unsigned rate = 1000) {
    const unsigned align = channels * bits / 8;
    const std::string body =
        Le(tag, 2) + Le(channels, 2) + Le(rate, 4) + Le(rate * align, 4) + Le(align, 2) + Le(bits, 2);
    const std::string pcm = Le(1, 4) + Le(0xAA00008000100000, 8) + Le(0x719B3800, 4);
    return tag == 0xFFFE ? body + Le(22, 2) + Le(bits, 2) + Le(3, 4) + pcm : body;
}

/// Bytes that do not repeat early.
inline std::string Noise(std::size_t bytes) {
    std::string noise(bytes, '\0');
    std::uint32_t state = 1;
    for (char& next : noise)
        next = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return noise;
}

/// The settings string with which the fake module runs `command`.
inline std::string FakeSettings(const std::string& command) {
    return command + "=X" + std::string(40, '0');
}

inline std::string ReadAll(HANDLE file) {
    std::string all;
    char piece[4096];
    for (std::size_t got = 1; got != 0 && ReadFully(file, piece, sizeof piece, got);)
        all.append(piece, got);
    return all;
}

/// Waits, for seconds at most, until `condition` holds.
inline bool Soon(const std::function<bool()>& condition) {
    for (int tries = 0; tries < 500 && !condition(); ++tries)
        ::Sleep(10);
    return condition();
}

struct RunResult {
    unsigned long code;
    std::string out;
    std::string err;
};

struct Pipe {
    Pipe() {
        SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
        REQUIRE(::CreatePipe(read.Put(), write.Put(), &inheritable, 1024 * 1024));
    }
    CKernelHandle read, write;
};

/// The process of the RunDxconv that is under way.
inline HANDLE g_dxconv = nullptr;

/// Runs dxconv.exe, which lies one folder above, with its standard handles on pipes. `meanwhile` is called
/// while it runs and has half of its input; when it goes on for long after that, it is ended.
inline RunResult RunDxconv(const std::vector<std::string>& arguments, const std::string& input = {},
    const std::function<void()>& meanwhile = nullptr) {
    Pipe in, out, err;
    ::SetHandleInformation(in.write.Get(), HANDLE_FLAG_INHERIT, 0); // else the child's input never ends
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = in.read.Get();
    startup.hStdOutput = out.write.Get();
    startup.hStdError = err.write.Get();
    std::string line = "..\\dxconv.exe";
    for (const std::string& argument : arguments)
        line += " \"" + argument + "\"";
    PROCESS_INFORMATION process{};
    REQUIRE(::CreateProcessW(
        nullptr, Wide(line).data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process));
    const CKernelHandle thread(process.hThread), child(process.hProcess);
    g_dxconv = child.Get();
    for (CKernelHandle* const childs : {&in.read, &out.write, &err.write})
        childs->Reset();
    const std::size_t half = input.size() / 2;
    WriteFully(in.write.Get(), input.data(), half);
    if (meanwhile)
        meanwhile();
    WriteFully(in.write.Get(), input.data() + half, input.size() - half);
    in.write.Reset();
    if (::WaitForSingleObject(child.Get(), 20'000) != WAIT_OBJECT_0)
        ::TerminateProcess(child.Get(), 99);
    RunResult result{0, ReadAll(out.read.Get()), ReadAll(err.read.Get())};
    ::GetExitCodeProcess(child.Get(), &result.code);
    return result;
}

/// A console for a scope, whose Ctrl+C this process outlives: it goes to all that share the console.
class CConsole {
public:
    CConsole() {
        ::FreeConsole();
        REQUIRE(::AllocConsole());
        ::SetConsoleCtrlHandler(Outlive, TRUE);
    }
    ~CConsole() { ::FreeConsole(); }
    CConsole(const CConsole&) = delete;
    CConsole& operator=(const CConsole&) = delete;

    void PressCtrlC(int times = 1) const {
        for (int i = 0; i < times; ++i) {
            if (i != 0)
                ::Sleep(500); // events that follow each other closely may become one
            CHECK(::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
        }
    }

private:
    static BOOL WINAPI Outlive(DWORD) { return TRUE; }
};

/// The same for `dxconv convert` with the fake module; OUT is replaced. The first arguments are IN and OUT.
template <typename... Further>
RunResult Convert(std::vector<std::string> arguments, const Further&... further) {
    arguments.insert(arguments.begin(), "convert");
    arguments.insert(arguments.end(), {"--force", "--module", "fake_module.dll"});
    return RunDxconv(arguments, further...);
}

/// A fresh folder that goes with all its files.
class CTestFolder {
public:
    CTestFolder() { REQUIRE(::CreateDirectoryW(m_path.c_str(), nullptr)); }
    ~CTestFolder() {
        for (const auto& file : std::filesystem::directory_iterator(m_path))
            ::DeleteFileW(FullPath(file.path().wstring()).c_str());
        ::RemoveDirectoryW(m_path.c_str());
    }
    std::string Path(const std::string& name) const { return Utf8(m_path + L'\\') + name; }
    /// Writes the file and returns its path.
    std::string Put(const std::string& name, const std::string& content) const {
        const CKernelHandle file = OpenHandle(FullPath(Path(name)), GENERIC_WRITE, 0, CREATE_ALWAYS, 0);
        REQUIRE(WriteFully(file.Get(), content.data(), content.size()));
        return Path(name);
    }
    std::string Get(const std::string& name) const {
        const auto file = OpenHandle(FullPath(Path(name)), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0);
        return file ? ReadAll(file.Get()) : "(no file)";
    }
    std::string GetUtf16(const std::string& name) const {
        const std::string bytes = Get(name);
        return Utf8({reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t)});
    }
    auto Count() const { return std::distance(std::filesystem::directory_iterator(m_path), {}); }
    /// Waits, for seconds at most, until there are so many files.
    void WaitForCount(int count) const {
        Soon([&] { return Count() >= count; });
        CHECK(Count() == count);
    }

private:
    const std::wstring m_path = TemporaryName(TemporaryFolder());
};
