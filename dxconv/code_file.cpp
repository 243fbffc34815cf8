#include "dxconv/code_file.h"

#include "dxconv/files.h"

#include <cstring>

namespace {

constexpr WORD kMachineArm64 = 0xAA64; // not named by every SDK

// Signature, file header and the first word of the optional header: the same in images of any word size.
struct ImageHead {
    DWORD signature;
    IMAGE_FILE_HEADER file;
    WORD magic;
};

template <typename T>
bool ReadAt(HANDLE file, LONG offset, T& value) {
    std::size_t got = 0;
    return ::SetFilePointer(file, offset, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER &&
           ReadFully(file, &value, sizeof value, got) && got == sizeof value;
}

CodeFile Kind(const ImageHead& head) {
    if ((head.file.Characteristics & IMAGE_FILE_DLL) == 0)
        return CodeFile::Program;
    switch (head.file.Machine) {
    case IMAGE_FILE_MACHINE_I386:
        return head.magic == IMAGE_NT_OPTIONAL_HDR32_MAGIC ? CodeFile::Dll32 : CodeFile::NoCode;
    case IMAGE_FILE_MACHINE_AMD64:
    case IMAGE_FILE_MACHINE_IA64:
    case kMachineArm64:
        return CodeFile::Dll64;
    default:
        return CodeFile::DllOther;
    }
}

} // namespace

CodeFile InspectCodeFile(const std::wstring& path) {
    const CKernelHandle file = OpenHandle(
        path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, OPEN_EXISTING, 0);
    const DWORD error = file ? ERROR_SUCCESS : ::GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME)
        return CodeFile::Missing;
    if (!file)
        return CodeFile::Unreadable;
    IMAGE_DOS_HEADER dos{};
    ImageHead head{};
    if (!ReadAt(file.Get(), 0, dos) || dos.e_magic != IMAGE_DOS_SIGNATURE || dos.e_lfanew < 0 ||
        !ReadAt(file.Get(), dos.e_lfanew, head) || head.signature != IMAGE_NT_SIGNATURE)
        return CodeFile::NoCode;
    return Kind(head);
}

std::string CodeFileText(CodeFile kind) {
    switch (kind) {
    case CodeFile::Dll32:
        return {};
    case CodeFile::Dll64:
        return "a 64-bit DLL";
    case CodeFile::DllOther:
        return "a DLL for another processor";
    case CodeFile::Program:
        return "a program instead of a DLL";
    case CodeFile::NoCode:
        return "a file that is no DLL";
    case CodeFile::Missing:
        return "a file that is missing";
    default:
        return "a file that cannot be read";
    }
}
