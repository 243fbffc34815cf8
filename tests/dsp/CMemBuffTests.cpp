#include "dsp/CMemBuff.h"

#include <doctest/doctest.h>
#include <climits>
#include <cstdlib>
#include <string>

using namespace std::string_literals;

namespace {

struct Buffer : CMemBuff {
    explicit Buffer(const std::string& content) : CMemBuff(1024) { REQUIRE(Put(content)); }
    bool Put(const std::string& bytes) {
        return Append(bytes.data(), static_cast<std::int32_t>(bytes.size()));
    }
    std::string Text() const {
        return {reinterpret_cast<const char*>(Data()), static_cast<std::size_t>(Size())};
    }
};

} // namespace

TEST_CASE("a buffer grows and shrinks by its step with its bytes, and impossible sizes change nothing") {
    Buffer buffer("a");
    CHECK(buffer.Capacity() == 1024);
    CHECK((buffer.Put(std::string(1024, 'b')) && buffer.Size() == 1025 && buffer.Capacity() == 2048));
    CHECK((buffer.SetSize(1024) && buffer.Capacity() == 1024));
    CHECK(buffer.Text() == "a" + std::string(1023, 'b'));
    CHECK((buffer.Append(nullptr, INT_MIN) && !buffer.SetSize(-1)));
    CHECK_FALSE(buffer.Append("", INT_MAX));        // the size overflows
    CHECK_FALSE(buffer.Append("", INT_MAX - 1024)); // the rounded size does
    CHECK((buffer.Size() == 1024 && buffer.Capacity() == 1024));
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
