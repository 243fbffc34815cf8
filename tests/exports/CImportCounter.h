#pragma once

#include <windows.h>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// Counts what a loaded DLL calls of other DLLs, by name, while this lives: each slot of its import table
/// leads through a thunk that counts and goes on. Threads: the DLL must be idle when this is made and when it
/// goes.
class CImportCounter {
public:
    explicit CImportCounter(HMODULE module) : m_base(reinterpret_cast<BYTE*>(module)) {
        const auto& dos = *reinterpret_cast<const IMAGE_DOS_HEADER*>(m_base);
        const auto& headers = *reinterpret_cast<const IMAGE_NT_HEADERS*>(m_base + dos.e_lfanew);
        const IMAGE_DATA_DIRECTORY& imports =
            headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        m_thunks = static_cast<Thunk*>(::VirtualAlloc(
            nullptr, kMostThunks * sizeof(Thunk), MEM_RESERVE | MEM_COMMIT, PAGE_EXECUTE_READWRITE));
        for (auto* dll = Of<IMAGE_IMPORT_DESCRIPTOR>(imports.VirtualAddress); dll->Name != 0; ++dll) {
            const auto* name = Of<IMAGE_THUNK_DATA>(dll->OriginalFirstThunk);
            for (auto* slot = Of<void*>(dll->FirstThunk); name->u1.AddressOfData != 0; ++slot, ++name)
                if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) && IsCode(*slot) && m_slots.size() < kMostThunks)
                    Divert(slot, Of<IMAGE_IMPORT_BY_NAME>(name->u1.AddressOfData)->Name);
        }
    }
    ~CImportCounter() {
        for (std::size_t n = 0; n != m_slots.size(); ++n)
            Write(m_slots[n].at, m_thunks[n].target);
        ::VirtualFree(m_thunks, 0, MEM_RELEASE);
    }
    CImportCounter(const CImportCounter&) = delete;
    CImportCounter& operator=(const CImportCounter&) = delete;

    /// What was called since the last time, and how often.
    std::map<std::string, std::uint32_t> Take() {
        std::map<std::string, std::uint32_t> calls;
        for (std::size_t n = 0; n != m_slots.size(); ++n)
            if (const std::uint32_t count = std::exchange(m_thunks[n].count, 0); count != 0)
                calls[m_slots[n].name] += count;
        return calls;
    }

private:
    static constexpr std::size_t kMostThunks = 1024;

    struct Thunk {
        BYTE code[12]; // inc [count]; jmp [target]
        std::uint32_t count;
        void* target;
    };
    struct Slot {
        void** at;
        std::string name;
    };

    template <typename T>
    T* Of(DWORD offset) const {
        return reinterpret_cast<T*>(m_base + offset);
    }
    static bool IsCode(void* address) {
        MEMORY_BASIC_INFORMATION pages{};
        ::VirtualQuery(address, &pages, sizeof pages);
        return (pages.Protect &
                   (PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY)) != 0;
    }
    static void Write(void** slot, void* value) {
        DWORD before = 0;
        ::VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &before);
        *slot = value;
        ::VirtualProtect(slot, sizeof *slot, before, &before);
    }
    void Divert(void** slot, const char* name) {
        Thunk& thunk = m_thunks[m_slots.size()];
        const void* const count = &thunk.count;
        const void* const target = &thunk.target;
        thunk = {{0xFF, 0x05, 0, 0, 0, 0, 0xFF, 0x25, 0, 0, 0, 0}, 0, *slot};
        std::memcpy(thunk.code + 2, &count, 4);
        std::memcpy(thunk.code + 8, &target, 4);
        m_slots.push_back({slot, name});
        Write(slot, thunk.code);
    }

    BYTE* const m_base;
    Thunk* m_thunks = nullptr;
    std::vector<Slot> m_slots;
};
