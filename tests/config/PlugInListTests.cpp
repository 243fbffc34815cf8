// The records of effects, the array that holds them, and their stored form.

#include "config/PlugInElem.h"
#include "config/plugin_blob.h"
#include "config/plugin_store.h"
#include "dsp/CMemBuff.h"
#include "support/handles.h"

#include <doctest/doctest.h>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

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

Bytes Encode(const CStructArray& list) {
    CMemBuff blob(1024);
    REQUIRE(EncodePlugIns(list, blob));
    return Bytes(blob.Data(), blob.Data() + blob.Size());
}

bool Decode(const Bytes& bytes, CStructArray& list) {
    CMemBuff blob(1024);
    REQUIRE(blob.Append(bytes.data(), static_cast<std::int32_t>(bytes.size())));
    return DecodePlugIns(blob, list);
}

// "Ab" with id 1, then a nameless one with id 2.
Bytes KnownBlob() {
    Bytes blob{2, 0, 0, 0, 1, 0, 0, 0, 2, 0, 3, 0, 4, 5, 6, 7, 8, 9, 10, 11, 2, 0, 0, 0, 'A', 'b', 2, 0, 0, 0,
        2, 0, 3, 0, 4, 5, 6, 7, 8, 9, 10, 11, 0, 0, 0, 0};
    return blob;
}

void Store(const wchar_t* name, DWORD type, const Bytes& bytes) {
    CRegHandle key;
    ::RegCreateKeyExW(HKEY_CURRENT_USER, kKey, 0, nullptr, 0, KEY_WRITE, nullptr, key.Put(), nullptr);
    ::RegSetValueExW(key.Get(), name, 0, type, bytes.data(), static_cast<DWORD>(bytes.size()));
}

Bytes Dword(DWORD value) {
    Bytes bytes(4);
    std::memcpy(bytes.data(), &value, 4);
    return bytes;
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
    CHECK_FALSE(list.Remove(-1, 1));
    CHECK_FALSE(list.Insert(4, 1, pair));
    CHECK_FALSE(list.Insert(-1, 1, pair));
    CHECK((list.GetAt(3) == nullptr && list.GetAt(-1) == nullptr));
    list.Clear();
    CHECK(list.GetCapacity() == 0);
}

TEST_CASE("a list is stored byte for byte as given and comes back in its order") {
    List list;
    CHECK(Encode(list) == Bytes(4));
    Add(list, 1, "Ab");
    Add(list, 2, "");
    CHECK(Encode(list) == KnownBlob());
    List back;
    Add(back, 9, "replaced");
    REQUIRE(Decode(KnownBlob(), back));
    CHECK(Names(back) == "Ab1 -2 ");
    CHECK(FindPlugIn(back, Id(2)) == 1);
    CHECK(FindPlugIn(back, Id(3)) == -1);
}

TEST_CASE("a blob cut anywhere keeps the records before the cut and counts as damaged") {
    for (std::size_t length = 0; length < KnownBlob().size(); ++length) {
        CAPTURE(length);
        Bytes blob = KnownBlob();
        blob.resize(length);
        List list;
        CHECK_FALSE(Decode(blob, list));
        CHECK(Names(list) == (length < 26 ? "" : "Ab1 "));
    }
}

TEST_CASE("counts and name lengths that lie are damage or nothing, never more than is there") {
    struct Row {
        std::string name;
        std::size_t at;
        DWORD value;
        bool complete;
        std::string names;
    };
    const Row rows[] = {{"count 0", 0, 0, true, ""}, {"negative count", 0, 0x80000000, true, ""},
        {"count 1", 0, 1, true, "Ab1 "}, {"count too large", 0, 0x7FFFFFFF, false, "Ab1 -2 "},
        {"name runs past", 20, 23, false, ""}, {"name of 2 GB", 20, 0x7FFFFFFF, false, ""},
        {"negative name length", 20, 0xFFFFFFFF, false, "-1 "}, {"name begins with NUL", 24, 0, false, ""},
        {"last name runs past", 42, 1, false, "Ab1 "}};
    for (const Row& row : rows) {
        CAPTURE(row.name);
        Bytes blob = KnownBlob();
        std::memcpy(&blob[row.at], &row.value, row.name == "name begins with NUL" ? 1 : 4);
        List list;
        CHECK(Decode(blob, list) == row.complete);
        CHECK(Names(list) == row.names);
    }
}

TEST_CASE("the store holds the list under its two values, and what does not fit together is told apart") {
    List list;
    Add(list, 1, "Ab");
    Add(list, 2, nullptr);
    StorePlugIns(list);
    struct Row {
        std::string name;
        DWORD lengthType;
        Bytes length;
        DWORD blobType;
        StoredList result;
    };
    const Row rows[] = {{"good", REG_DWORD, Dword(46), REG_BINARY, StoredList::Complete},
        {"longer than stored", REG_DWORD, Dword(60), REG_BINARY, StoredList::Complete},
        {"shorter than stored", REG_DWORD, Dword(45), REG_BINARY, StoredList::Missing},
        {"length 0", REG_DWORD, Dword(0), REG_BINARY, StoredList::Missing},
        {"absurd length", REG_DWORD, Dword(0xFFFFFFF0), REG_BINARY, StoredList::Missing},
        {"length of another type", REG_BINARY, Dword(46), REG_BINARY, StoredList::Missing},
        {"blob of another type", REG_DWORD, Dword(46), REG_SZ, StoredList::Missing}};
    for (const Row& row : rows) {
        CAPTURE(row.name);
        Store(L"DXListLen", row.lengthType, row.length);
        Store(L"DXList", row.blobType, KnownBlob());
        List back;
        Add(back, 7, "old");
        CHECK((ReadStoredPlugIns(back) == row.result));
        CHECK(Names(back) == (row.result == StoredList::Complete ? "Ab1 -2 " : "old7 "));
    }
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
    List none;
    CHECK((ReadStoredPlugIns(none) == StoredList::Missing));
    StorePlugIns(list);
    CHECK((ReadStoredPlugIns(none) == StoredList::Complete));
    Bytes cut = KnownBlob();
    cut.resize(30);
    Store(L"DXList", REG_BINARY, cut);
    CHECK((ReadStoredPlugIns(none) == StoredList::Damaged));
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
}
