// Mutated input for the two decoders of stored text and bytes: nothing is read outside the input, nothing
// takes longer than its length, and what comes out agrees with a plain reading of the format. DXW_FUZZ_INPUTS
// in the environment sets the number of inputs of each kind, DXW_FUZZ_SEED the random seed.

#include "config/PlugInElem.h"
#include "config/plugin_blob.h"
#include "dsp/CMemBuff.h"

#include <doctest/doctest.h>
#include <windows.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

std::uint32_t FromEnvironment(const char* name, std::uint32_t otherwise) {
    const char* const value = std::getenv(name);
    return value == nullptr ? otherwise : static_cast<std::uint32_t>(std::strtoul(value, nullptr, 10));
}

// Memory whose last byte lies before a page that can't be touched.
class CGuardedInput {
public:
    CGuardedInput() {
        DWORD old = 0;
        m_pages = static_cast<std::uint8_t*>(::VirtualAlloc(nullptr, 3 * kPage, MEM_COMMIT, PAGE_READWRITE));
        REQUIRE(::VirtualProtect(m_pages + 2 * kPage, kPage, PAGE_NOACCESS, &old));
    }
    ~CGuardedInput() { ::VirtualFree(m_pages, 0, MEM_RELEASE); }
    CGuardedInput(const CGuardedInput&) = delete;
    CGuardedInput& operator=(const CGuardedInput&) = delete;

    void* Place(const Bytes& input) {
        std::uint8_t* const start = m_pages + 2 * kPage - input.size();
        std::copy(input.begin(), input.end(), start);
        return start;
    }
    static constexpr std::size_t kPage = 4096;

private:
    std::uint8_t* m_pages;
};

class CMutator {
public:
    explicit CMutator(std::uint32_t seed) : m_random(seed) {}

    std::uint32_t Next(std::uint32_t below) {
        m_random ^= m_random << 13;
        m_random ^= m_random >> 17;
        m_random ^= m_random << 5;
        return m_random % below;
    }

    // Some bytes changed, cut, doubled or made interesting; `unit` bytes at a time.
    Bytes Mutate(Bytes input, std::size_t unit, const std::vector<Bytes>& tokens) {
        for (std::uint32_t changes = 1 + Next(4); changes > 0; --changes) {
            const auto units = static_cast<std::uint32_t>(input.size() / unit);
            const auto at = static_cast<std::ptrdiff_t>((units == 0 ? 0 : Next(units)) * unit);
            switch (Next(5)) {
            case 0:
                if (units != 0)
                    input[static_cast<std::size_t>(at) + Next(static_cast<std::uint32_t>(unit))] ^=
                        static_cast<std::uint8_t>(1u << Next(8));
                break;
            case 1:
                input.resize(static_cast<std::size_t>(at));
                break;
            case 2: {
                const Bytes copy(input.begin() + at, input.end());
                if (input.size() + copy.size() <= CGuardedInput::kPage)
                    input.insert(input.end(), copy.begin(), copy.end());
                break;
            }
            default: {
                const Bytes& token = tokens[Next(static_cast<std::uint32_t>(tokens.size()))];
                if (static_cast<std::size_t>(at) + token.size() <= input.size())
                    std::copy(token.begin(), token.end(), input.begin() + at);
            }
            }
        }
        return input;
    }

private:
    std::uint32_t m_random;
};

Bytes Units(const std::wstring& text) {
    Bytes bytes(text.size() * sizeof(wchar_t));
    std::memcpy(bytes.data(), text.data(), bytes.size());
    return bytes;
}

// Records that a plain reading finds, and whether the blob is whole.
std::pair<int, bool> PlainReading(const Bytes& blob) {
    std::int32_t count = 0;
    if (blob.size() < 4)
        return {0, false};
    std::memcpy(&count, blob.data(), 4);
    std::size_t at = 4;
    for (int records = 0; records < count; ++records) {
        std::int32_t length = 0;
        if (blob.size() - at < 20)
            return {records, false};
        std::memcpy(&length, &blob[at + 16], 4);
        at += 20;
        const std::size_t named = length < 1 ? 0 : static_cast<std::size_t>(length);
        if (named > blob.size() - at || (named != 0 && blob[at] == 0))
            return {records, false};
        at += named;
    }
    return {std::max(count, 0), true};
}

// Payload bytes that a plain reading finds behind the first "=X", or -1 when the text is none.
int PlainPayload(const std::wstring& text) {
    const std::size_t split = text.find(L"=X");
    if (split == std::wstring::npos || split > 1022)
        return -1;
    const std::wstring hex = text.substr(split + 2);
    const bool digits = hex.find_first_not_of(L"0123456789ABCDEF") == std::wstring::npos;
    return hex.empty() || hex.size() % 2 != 0 || !digits ? -1 : static_cast<int>(hex.size() / 2);
}

struct Run {
    Run()
        : inputs(FromEnvironment("DXW_FUZZ_INPUTS", 200000)),
          seed(FromEnvironment("DXW_FUZZ_SEED", ::GetTickCount() | 1)) {
        MESSAGE("inputs: " << inputs << ", seed: " << seed);
    }
    const std::uint32_t inputs;
    const std::uint32_t seed;
};

} // namespace

TEST_CASE("mutated lists are read as far as they are whole, and never further") {
    const Bytes one{
        1, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 4, 0, 0, 0, 'E', 'c', 'h', 'o'};
    Bytes many{40, 0, 0, 0};
    for (int i = 0; i < 40; ++i)
        many.insert(many.end(), one.begin() + 4, one.end());
    const std::vector<Bytes> corpus{one, many, {0, 0, 0, 0}, {}, {0xFF, 0xFF, 0xFF, 0xFF}};
    const std::vector<Bytes> tokens{{0xFF, 0xFF, 0xFF, 0x7F}, {0xFF, 0xFF, 0xFF, 0xFF}, {0, 0, 0, 0x80},
        {0, 0, 0, 0}, {5, 0, 0, 0}, {0}, {0, 1, 0, 0}};
    const Run run;
    CMutator mutator(run.seed);
    CGuardedInput memory;
    std::uint32_t wrong = 0;
    for (std::uint32_t i = 0; i < run.inputs; ++i) {
        const Bytes input =
            mutator.Mutate(corpus[mutator.Next(static_cast<std::uint32_t>(corpus.size()))], 1, tokens);
        // Never destroyed: it would free the guarded memory, which is all that it owns.
        alignas(CMemBuff) std::byte storage[sizeof(CMemBuff)];
        auto* const blob = new (storage) CMemBuff(1024);
        blob->Attach(memory.Place(input), static_cast<std::int32_t>(input.size()));
        CStructArray list(sizeof(PlugInElem), 16);
        const bool whole = DecodePlugIns(*blob, list);
        wrong += std::pair(list.GetCount(), whole) != PlainReading(input);
    }
    CHECK(wrong == 0);
}

TEST_CASE("mutated settings texts decode exactly when they are well formed, to as many bytes as they spell") {
    const std::vector<Bytes> corpus{Units(L"Chorus=X000102030405060708090A0B0C0D0E0F020000001234"),
        Units(L"=XAB"), Units(L"=X=X00"), Units(std::wstring(1022, L'n') + L"=X00"),
        Units(std::wstring(1023, L'n') + L"=X00"), {}, Units(L"a=X"), Units(L"\x00E4\x4E2D=XFF00")};
    const std::vector<Bytes> tokens{Units(L"=X"), Units(L"="), Units(L"X"), Units(L"a"), Units(L"0"),
        Units(L"F"), Units(L"G"), Units(L"\x0130"), Units(L"/"), Units(L"FFFFFFFF")};
    const Run run;
    CMutator mutator(run.seed);
    CGuardedInput memory;
    std::uint32_t wrong = 0;
    for (std::uint32_t i = 0; i < run.inputs; ++i) {
        Bytes input = mutator.Mutate(
            corpus[mutator.Next(static_cast<std::uint32_t>(corpus.size()))], sizeof(wchar_t), tokens);
        input.resize(input.size() / 2 * 2 + 2); // a terminator, right before the page that can't be touched
        input[input.size() - 1] = input[input.size() - 2] = 0;
        const auto* const text = static_cast<const wchar_t*>(memory.Place(input));
        CMemBuff decoded(1024);
        const bool whole = decoded.FromSettingsString(text);
        const int payload = PlainPayload(text);
        std::int32_t nameBytes = 0;
        const bool named = decoded.Read(&nameBytes, sizeof nameBytes);
        wrong += whole != (payload >= 0) || (whole && (!named || decoded.Size() != 4 + nameBytes + payload));
    }
    CHECK(wrong == 0);
}
