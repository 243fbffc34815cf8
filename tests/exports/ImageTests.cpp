// The built file itself: what Windows reads of it before any code runs.

#include "tests/effects/CTestEffects.h"

#include <doctest/doctest.h>
#include <windows.h>
#include <algorithm>
#include <set>

namespace {

class CImage {
public:
    explicit CImage(const wchar_t* file)
        : m_library(::LoadLibraryW((ProgramFolder() + L"..\\" + file).c_str())) {}
    ~CImage() { ::FreeLibrary(m_library); }
    CImage(const CImage&) = delete;
    CImage& operator=(const CImage&) = delete;

    bool Loaded() const { return m_library != nullptr; }
    const IMAGE_NT_HEADERS& Headers() const {
        return *At<IMAGE_NT_HEADERS>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
    }
    const IMAGE_DATA_DIRECTORY& Directory(int index) const {
        return Headers().OptionalHeader.DataDirectory[index];
    }
    std::set<std::string> Imports() const {
        std::set<std::string> names;
        const DWORD table = Directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress;
        for (auto* entry = At<IMAGE_IMPORT_DESCRIPTOR>(table); entry->Name != 0; ++entry) {
            std::string name = At<char>(entry->Name);
            std::transform(name.begin(), name.end(), name.begin(), [](char c) { return c | 0x20; });
            names.insert(name);
        }
        return names;
    }
    std::set<std::string> Exports() const {
        std::set<std::string> names;
        const auto* table =
            At<IMAGE_EXPORT_DIRECTORY>(Directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress);
        for (DWORD i = 0; i < table->NumberOfNames; ++i)
            names.insert(At<char>(At<DWORD>(table->AddressOfNames)[i]));
        return names;
    }

private:
    template <typename T>
    const T* At(DWORD offset) const {
        return reinterpret_cast<const T*>(reinterpret_cast<const BYTE*>(m_library) + offset);
    }
    HMODULE m_library;
};

} // namespace

TEST_CASE("the DLLs can be moved, protect data from execution, and need nothing but Windows beside them") {
    const std::set<std::string> ofWindows{"kernel32.dll", "user32.dll", "gdi32.dll", "advapi32.dll",
        "shell32.dll", "ole32.dll", "oleaut32.dll", "comctl32.dll", "msvcrt.dll"};
    for (const wchar_t* file : {L"dxwrapper.dll", L"echo.dll"}) {
        const CImage image(file);
        REQUIRE(image.Loaded());
        const WORD flags = image.Headers().OptionalHeader.DllCharacteristics;
        CHECK((flags & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE) != 0);
        CHECK((flags & IMAGE_DLLCHARACTERISTICS_NX_COMPAT) != 0);
        CHECK(
            (flags & IMAGE_DLLCHARACTERISTICS_NO_SEH) == 0); // Windows would refuse the fault guard's handler
        CHECK(image.Directory(IMAGE_DIRECTORY_ENTRY_BASERELOC).Size > 1000);
        CHECK(image.Headers().FileHeader.TimeDateStamp == 0); // the same source gives the same bytes
        for (const std::string& name : image.Imports()) {
            CAPTURE(name);
            CHECK(ofWindows.count(name) == 1);
        }
    }
    CHECK(CImage(L"dxwrapper.dll").Exports() ==
          std::set<std::string>{"DSP_AfterConversion", "DSP_BeginConversion", "DSP_Create", "DSP_Destroy",
              "DSP_EndConversion", "DSP_Get", "DSP_PassAudioBlock", "DSP_PassNonLive", "DSP_RemoveConfigBit",
              "DSP_Set", "DSP_ShowConfigBit"});
}
