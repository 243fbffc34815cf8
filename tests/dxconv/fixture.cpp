#include "tests/dxconv/fixture.h"

#include "dxconv/files.h"
#include "dxconv/text.h"

#include <doctest/doctest.h>

namespace {

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH];
    const std::wstring program(path, ::GetModuleFileNameW(nullptr, path, MAX_PATH));
    return program.substr(0, program.find_last_of(L'\\') + 1);
}

std::string Quote(const std::string& argument) {
    return " \"" + argument + "\"";
}

std::string ReadAll(HANDLE file) {
    std::string all;
    char piece[4096];
    for (std::size_t got = 1; got != 0; all.append(piece, got))
        if (!ReadFully(file, piece, sizeof piece, got))
            break;
    return all;
}

// The child's end is inherited, ours is not.
struct Pipe {
    Pipe(DWORD childEnd) {
        SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
        REQUIRE(::CreatePipe(read.Put(), write.Put(), &inheritable, 1024 * 1024));
        const HANDLE ours = childEnd == STD_INPUT_HANDLE ? write.Get() : read.Get();
        ::SetHandleInformation(ours, HANDLE_FLAG_INHERIT, 0);
    }
    CKernelHandle read;
    CKernelHandle write;
};

} // namespace

std::string Le(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i)
        text += static_cast<char>(value >> (8 * i));
    return text;
}

std::string Chunk(const std::string& id, const std::string& body) {
    return id + Le(body.size(), 4) + body + std::string(body.size() % 2, '\0');
}

std::string Format(unsigned tag, unsigned channels, unsigned bits, unsigned samplesPerSec) {
    const unsigned align = channels * bits / 8;
    std::string body = Le(tag, 2) + Le(channels, 2) + Le(samplesPerSec, 4) + Le(samplesPerSec * align, 4) +
                       Le(align, 2) + Le(bits, 2);
    if (tag == 0xFFFE)
        body += Le(22, 2) + Le(bits, 2) + Le(3, 4) + Le(1, 4) +
                std::string("\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 12);
    return body;
}

std::string Riff(const std::string& chunks) {
    return "RIFF" + Le(4 + chunks.size(), 4) + "WAVE" + chunks;
}

std::string Noise(std::size_t bytes) {
    std::string noise(bytes, '\0');
    std::uint32_t state = 1;
    for (char& byte : noise)
        byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return noise;
}

std::string FakeSettings(const std::string& command) {
    return command + "=X" + std::string(40, '0');
}

RunResult RunDxconv(
    const std::vector<std::string>& arguments, const std::string& input, const Meanwhile& meanwhile) {
    Pipe in(STD_INPUT_HANDLE);
    Pipe out(STD_OUTPUT_HANDLE);
    Pipe err(STD_ERROR_HANDLE);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = in.read.Get();
    startup.hStdOutput = out.write.Get();
    startup.hStdError = err.write.Get();
    std::string commandLine = Quote(Utf8(ProgramFolder()) + "..\\dxconv.exe");
    for (const std::string& argument : arguments)
        commandLine += Quote(argument);
    std::wstring wide = Wide(commandLine);
    PROCESS_INFORMATION process{};
    REQUIRE(::CreateProcessW(
        nullptr, wide.data() + 1, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process));
    const CKernelHandle thread(process.hThread);
    const CKernelHandle child(process.hProcess);
    in.read.Reset();
    out.write.Reset();
    err.write.Reset();
    WriteFully(in.write.Get(), input.data(), input.size());
    in.write.Reset();
    if (meanwhile) {
        meanwhile();
        if (::WaitForSingleObject(child.Get(), 20'000) != WAIT_OBJECT_0)
            ::TerminateProcess(child.Get(), 99);
    }
    RunResult result;
    result.out = ReadAll(out.read.Get());
    result.err = ReadAll(err.read.Get());
    ::WaitForSingleObject(child.Get(), INFINITE);
    ::GetExitCodeProcess(child.Get(), &result.code);
    return result;
}

RunResult Convert(const std::string& in, const std::string& out, std::vector<std::string> more,
    const Meanwhile& meanwhile) {
    more.insert(more.begin(), {"convert", in, out, "--module", Utf8(ProgramFolder()) + "fake_module.dll"});
    return RunDxconv(more, {}, meanwhile);
}

CTestFolder::CTestFolder() : m_path(Utf8(TemporaryName(TemporaryFolder()))) {
    REQUIRE(::CreateDirectoryW(FullPath(m_path).c_str(), nullptr));
}

CTestFolder::~CTestFolder() {
    for (const std::string& file : Files()) {
        ::SetFileAttributesW(FullPath(Path(file)).c_str(), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(FullPath(Path(file)).c_str());
    }
    ::RemoveDirectoryW(FullPath(m_path).c_str());
}

std::string CTestFolder::Path(const std::string& name) const {
    return m_path + "\\" + name;
}

std::string CTestFolder::Put(const std::string& name, std::string_view content) const {
    const CKernelHandle file = OpenHandle(FullPath(Path(name)), GENERIC_WRITE, 0, CREATE_ALWAYS, 0);
    REQUIRE(WriteFully(file.Get(), content.data(), content.size()));
    return Path(name);
}

std::string CTestFolder::Get(const std::string& name) const {
    const CKernelHandle file =
        OpenHandle(FullPath(Path(name)), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0);
    return file ? ReadAll(file.Get()) : "(no file)";
}

std::vector<std::string> CTestFolder::Files() const {
    std::vector<std::string> files;
    WIN32_FIND_DATAW found;
    const HANDLE search = ::FindFirstFileW(FullPath(Path("*")).c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = ::FindNextFileW(search, &found))
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
            files.push_back(Utf8(found.cFileName));
    ::FindClose(search);
    return files;
}
