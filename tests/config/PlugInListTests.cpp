// The records of effects, the array that holds them, and their stored form.

#include "config/PlugInElem.h"
#include "config/plugin_store.h"

#include <windows.h>
#include <doctest/doctest.h>
#include <string>

namespace {

constexpr wchar_t kKey[] = L"Software\\Orvelle\\DXWrapper";

GUID Id(std::uint8_t n) {
    return {n, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
}

void Add(CStructArray& list, std::uint8_t id, const char* name) {
    PlugInElem plugIn;
    plugIn.clsid = Id(id);
    plugIn.name = name == nullptr ? nullptr : CopyName(name);
    REQUIRE(list.Append(plugIn));
    REQUIRE(plugIn.name == nullptr); // the array's now
}

std::string Names(const CStructArray& list) {
    std::string names;
    for (int i = 0; i < list.GetCount(); ++i) {
        const PlugInElem& plugIn = *PlugInAt(list, i);
        names += std::string(plugIn.name == nullptr ? "-" : plugIn.name) +
                 std::to_string(plugIn.clsid.Data1) + " ";
    }
    return names;
}

struct List : CStructArray {
    List() : CStructArray(sizeof(PlugInElem), 16) {}
};

// "Ab" with id 1, then a nameless one with id 2.
constexpr std::uint8_t kBlob[] = {2, 0, 0, 0, 1, 0, 0, 0, 2, 0, 3, 0, 4, 5, 6, 7, 8, 9, 10, 11, 2, 0, 0, 0,
    'A', 'b', 2, 0, 0, 0, 2, 0, 3, 0, 4, 5, 6, 7, 8, 9, 10, 11, 0, 0, 0, 0};

void Store(const wchar_t* name, DWORD type, const void* bytes, DWORD count) {
    REQUIRE(::RegSetKeyValueW(HKEY_CURRENT_USER, kKey, name, type, bytes, count) == ERROR_SUCCESS);
}

} // namespace

TEST_CASE("records are put in and taken out anywhere, in a block that grows and shrinks by 16 records") {
    List list;
    CHECK_FALSE(list.HasElements());
    for (std::uint8_t i = 0; i < 17; ++i)
        Add(list, i, i % 2 == 0 ? "n" : nullptr);
    CHECK(list.GetCapacity() == 32);
    PlugInElem pair[2];
    pair[0].name = CopyName("x");
    pair[1].name = CopyName("y");
    REQUIRE(list.Insert(1, 2, pair));
    CHECK(Names(list).substr(0, 12) == "n0 x0 y0 -1 ");
    CHECK(list.Remove(3, 16));
    CHECK(Names(list) == "n0 x0 y0 ");
    CHECK(list.GetCapacity() == 16);
    CHECK_FALSE(list.Remove(2, 2));
    CHECK_FALSE(list.Insert(4, 1, pair));
    CHECK((list.GetAt(3) == nullptr && list.GetAt(-1) == nullptr));
    list.Clear();
    CHECK(list.GetCapacity() == 0);
}

TEST_CASE("the store holds the list under its two values, and what does not fit together is told apart") {
    List list;
    Add(list, 1, "Ab");
    Add(list, 2, nullptr);
    StorePlugIns(list);
    const struct {
        DWORD lengthType, length, blobType;
        bool complete;
    } rows[] = {{REG_DWORD, 46, REG_BINARY, true}, {REG_DWORD, 60, REG_BINARY, true},
        {REG_DWORD, 45, REG_BINARY, false}, {REG_DWORD, 0, REG_BINARY, false},
        {REG_DWORD, 0xFFFFFFF0, REG_BINARY, false}, {REG_BINARY, 46, REG_BINARY, false},
        {REG_DWORD, 46, REG_SZ, false}};
    for (const auto& [lengthType, length, blobType, complete] : rows) {
        CAPTURE(length);
        CAPTURE(blobType);
        Store(L"DXListLen", lengthType, &length, sizeof length);
        Store(L"DXList", blobType, kBlob, sizeof kBlob);
        List back;
        Add(back, 7, "old");
        CHECK((ReadStoredPlugIns(back) == (complete ? StoredList::Complete : StoredList::Missing)));
        CHECK(Names(back) == (complete ? "Ab1 -2 " : "old7 "));
    }
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
    List none;
    CHECK((ReadStoredPlugIns(none) == StoredList::Missing));
    StorePlugIns(list);
    CHECK((ReadStoredPlugIns(none) == StoredList::Complete));
    Store(L"DXList", REG_BINARY, kBlob, 30);
    CHECK((ReadStoredPlugIns(none) == StoredList::Damaged));
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
}
