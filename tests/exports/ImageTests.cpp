// The built file itself: what Windows reads of it before any code runs.

#include "tests/effects/CTestEffects.h"

#include <doctest/doctest.h>
#include <windows.h>

TEST_CASE("the DLLs can be moved, protect data from execution, and are the same bytes from the same source") {
    for (const wchar_t* file : {L"dxwrapper.dll", L"echo.dll"}) {
        const HMODULE library = ::LoadLibraryW((ProgramFolder() + L"..\\" + file).c_str());
        REQUIRE(library != nullptr);
        const auto* const image = reinterpret_cast<const BYTE*>(library);
        const auto& dos = *reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
        const auto& headers = *reinterpret_cast<const IMAGE_NT_HEADERS*>(image + dos.e_lfanew);
        const WORD flags = headers.OptionalHeader.DllCharacteristics;
        CHECK((flags & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE) != 0);
        CHECK((flags & IMAGE_DLLCHARACTERISTICS_NX_COMPAT) != 0);
        CHECK(
            (flags & IMAGE_DLLCHARACTERISTICS_NO_SEH) == 0); // Windows would refuse the fault guard's handler
        CHECK(headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size > 1000);
        CHECK(headers.FileHeader.TimeDateStamp == 0);
        ::FreeLibrary(library);
    }
}
