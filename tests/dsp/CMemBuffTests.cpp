#include "dsp/CMemBuff.h"
#include "support/text.h"

#include <doctest/doctest.h>
#include <climits>
#include <cstdlib>
#include <string>
#include <utility>

using namespace std::string_literals;

namespace {

struct Buffer : CMemBuff {
    explicit Buffer(const std::string& content, std::int32_t step = 1024) : CMemBuff(step) {
        REQUIRE(Put(content));
    }
    bool Put(const std::string& bytes) {
        return Append(bytes.data(), static_cast<std::int32_t>(bytes.size()));
    }
    std::string Text() const {
        return {reinterpret_cast<const char*>(Data()), static_cast<std::size_t>(Size())};
    }
};

// The start of decoded settings: length of the name, and the name.
std::string Named(const std::string& name) {
    const auto length = static_cast<std::uint32_t>(name.size());
    return std::string(reinterpret_cast<const char*>(&length), sizeof length) + name;
}

} // namespace

TEST_CASE("capacity is the size rounded up to the step, growing and shrinking, and the bytes stay") {
    Buffer buffer("a");
    CHECK(buffer.Capacity() == 1024);
    CHECK((buffer.Put(std::string(1024, 'b')) && buffer.Size() == 1025 && buffer.Capacity() == 2048));
    CHECK((buffer.SetSize(1024) && buffer.Capacity() == 1024));
    CHECK(buffer.Text() == "a" + std::string(1023, 'b'));
    CHECK((buffer.SetSize(0) && buffer.Capacity() == 0 && buffer.Data() == nullptr));
    CHECK(Buffer("abc", -5).Capacity() == 3); // a step below 1 counts as 1
}

TEST_CASE("impossible sizes and counts change nothing") {
    Buffer buffer("0123456789", 1000);
    CHECK((buffer.Append(nullptr, 0) && buffer.Append(nullptr, INT_MIN)));
    CHECK_FALSE(buffer.Append("", INT_MAX));      // the size overflows
    CHECK_FALSE(buffer.Append("", INT_MAX - 10)); // the rounded size does
    CHECK_FALSE(buffer.SetSize(-1));
    CHECK((buffer.Text() == "0123456789" && buffer.Capacity() == 1000));
}

TEST_CASE("reading stops at the end and moves only when all bytes are there") {
    Buffer buffer("0123456789abcdef");
    char out[17] = {};
    CHECK((buffer.Seek(1) && !buffer.Read(out, 16) && !buffer.Read(out, INT_MAX) && !buffer.Read(out, -1)));
    CHECK(
        (buffer.ReadPos() == 1 && buffer.Read(out, 15) && out == "123456789abcdef"s && buffer.Read(out, 0)));
    CHECK((!buffer.Seek(-1) && buffer.ReadPos() == 0 && !buffer.Seek(17) && buffer.ReadPos() == 16));
    buffer.Clear(); // the position stays
    CHECK((buffer.ReadPos() == 16 && !buffer.Read(out, 1)));
    buffer.Attach(std::calloc(3, 1), 3);
    CHECK((buffer.Seek(0) && buffer.Read(out, 3) && out[0] == 0 && buffer.Capacity() == 3));
}

TEST_CASE("a string is read whole or not at all, whatever its length claims") {
    const std::pair<std::string, const char*> kCases[] = {{"\3\0\0\0Abc"s, "Abc"}, {"\2\0\0\0Abc"s, "Ab"},
        {"\0\0\0\0"s, ""}, {"\xFF\xFF\xFF\xFFxyz"s, ""}, // read, without a text
        {"\0\0\0"s, nullptr}, {"\4\0\0\0Abc"s, nullptr}, {"\xFF\xFF\xFF\x7F"s, nullptr},
        {"\3\0\0\0\0bc"s, nullptr}};
    for (const auto& [bytes, expected] : kCases) {
        char* text = nullptr;
        CHECK(Buffer(bytes).ReadString(&text) == (expected != nullptr));
        CHECK(std::string(text == nullptr ? "" : text) == (expected == nullptr ? "" : expected));
        std::free(text);
    }
}

TEST_CASE("settings text decodes to name and payload, and up to the first mistake when there is one") {
    struct Case {
        std::wstring text;
        bool decoded;
        std::string content;
    };
    const std::string echo = Named("Echo");
    const Case kCases[] = {{L"", false, ""}, {L"Echo", false, ""}, {L"Echo=", false, ""},
        {L"Echo=x41", false, ""}, {L"Echo=X", false, echo}, {L"Echo=XAB", true, echo + "\xAB"},
        {L"Echo=X0", false, echo}, {L"Echo=Xab", false, echo}, {L"Echo=X414", false, echo + "A"},
        {L"Echo=X4142 43", false, echo + "AB"}, {L"=X41", true, Named("") + "A"},
        {L"a==X41", true, Named("a=") + "A"}, {L"a=X=X41", false, Named("a")},
        {L"\xC9=X41", true, Named(WideToAnsi(L"\xC9")) + "A"},
        {std::wstring(1023, L'n') + L"=X41", false, ""},
        {std::wstring(1022, L'n') + L"=X41", true, Named(std::string(1022, 'n')) + "A"}};
    Buffer buffer("");
    CHECK_FALSE(buffer.FromSettingsString(nullptr));
    for (const auto& [text, decoded, content] : kCases) {
        CAPTURE(WideToAnsi(text.c_str()));
        REQUIRE(buffer.Put("of before"));
        CHECK(buffer.FromSettingsString(text.c_str()) == decoded);
        CHECK(buffer.Text() == content);
    }
    for (const wchar_t unit : L"/:@G`a\x0134\xFF14 "s) { // beside the digits, and above 0xFF
        CHECK_FALSE(buffer.FromSettingsString((L"N=X4"s + unit).c_str()));
        CHECK_FALSE(buffer.FromSettingsString((L"N=X"s + unit + L'4').c_str()));
    }
}

TEST_CASE("bytes become upper-case hexadecimal that decodes to the same bytes") {
    Buffer text("");
    CHECK((text.WriteHex("\x00\x9A\xFF", 3) && text.WriteHex("1", 0) && text.WriteHex("1", -1)));
    CHECK(text.Text() == "0\0000\0009\0A\0F\0F\0"s);
    std::string payload;
    for (int n = 0; n < 3000; ++n)
        payload += static_cast<char>(n * 7);
    Buffer encoded("N\0=\0X\0"s);
    REQUIRE((encoded.WriteHex(payload.data(), 3000) && encoded.Put("\0\0"s)));
    CHECK(text.FromSettingsString(reinterpret_cast<const wchar_t*>(encoded.Data())));
    CHECK(text.Text() == Named("N") + payload);
}
