// Mutated input for the readers of bytes from outside: nothing is read past the input, nothing takes longer
// than its length, and what comes out agrees with a plain reading of the format. DXW_FUZZ_INPUTS in the
// environment sets the number of inputs of each kind, DXW_FUZZ_SEED the random seed. tools/fuzz.sh runs the
// same comparisons natively, led by coverage.

#include "tests/fuzz/decoders.h"

#include <doctest/doctest.h>
#include <windows.h>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

constexpr std::size_t kPage = 4096;

std::uint32_t FromEnvironment(const char* name, std::uint32_t otherwise) {
    const char* const value = std::getenv(name);
    return value == nullptr ? otherwise : static_cast<std::uint32_t>(std::strtoul(value, nullptr, 10));
}

// Right before a page that can't be touched.
void* PlaceGuarded(const void* bytes, std::size_t count) {
    static auto* const pages =
        static_cast<std::uint8_t*>(::VirtualAlloc(nullptr, 3 * kPage, MEM_COMMIT, PAGE_READWRITE));
    DWORD old = 0;
    static const BOOL guarded = ::VirtualProtect(pages + 2 * kPage, kPage, PAGE_NOACCESS, &old);
    REQUIRE((guarded && count <= 2 * kPage));
    return std::memcpy(pages + 2 * kPage - count, bytes, count);
}

std::vector<std::string> Corpus(const std::string& kind) {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(DXW_FUZZ_CORPUS "/" + kind)) {
        std::ifstream file(entry.path(), std::ios::binary);
        files.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return files;
}

class CMutator {
public:
    CMutator(std::vector<std::string> corpus, std::uint32_t seed)
        : m_corpus(std::move(corpus)), m_random(seed) {}

    // One of the corpus with some bytes changed, cut, doubled, made extreme or taken from another one.
    std::string Next() {
        std::string input = Any();
        for (std::size_t changes = 1 + Below(4); changes > 0; --changes) {
            const std::size_t at = Below(input.size() + 1);
            switch (Below(6)) {
            case 0:
                if (at < input.size())
                    input[at] = static_cast<char>(input[at] ^ 1 << Below(8));
                break;
            case 1:
                input.resize(at);
                break;
            case 2:
                input.insert(at, input.substr(0, kPage / 4));
                break;
            case 3: {
                constexpr std::uint32_t kExtremes[] = {0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFE};
                const std::uint32_t value = kExtremes[Below(std::size(kExtremes))];
                input.replace(at, 4, reinterpret_cast<const char*>(&value), 1 + Below(4));
                break;
            }
            default: {
                const std::string& other = Any();
                input.replace(at, Below(20), other, Below(other.size() + 1), Below(60));
            }
            }
        }
        return input.substr(0, kPage - 1);
    }

private:
    std::size_t Below(std::size_t limit) {
        m_random ^= m_random << 13;
        m_random ^= m_random >> 17;
        m_random ^= m_random << 5;
        return m_random % limit;
    }
    const std::string& Any() { return m_corpus[Below(m_corpus.size())]; }

    std::vector<std::string> m_corpus;
    std::uint32_t m_random;
};

} // namespace

TEST_CASE("mutated input is decoded as a plain reading decodes it, and never read beyond its end") {
    const struct {
        std::string kind;
        AgreesFn agrees;
    } decoders[] = {{"settings", SettingsAgree}, {"plugins", PlugInsAgree}, {"wav", WavAgrees}};
    const std::uint32_t inputs = FromEnvironment("DXW_FUZZ_INPUTS", 200000);
    const std::uint32_t seed = FromEnvironment("DXW_FUZZ_SEED", ::GetTickCount() | 1);
    for (const auto& [kind, agrees] : decoders) {
        const std::vector<std::string> corpus = Corpus(kind);
        REQUIRE(corpus.size() >= 10);
        for (const std::string& input : corpus)
            CHECK(agrees(input, PlaceGuarded));
        CMutator mutator(corpus, seed);
        std::uint32_t wrong = 0;
        const DWORD start = ::GetTickCount();
        for (std::uint32_t i = 0; i < inputs; ++i)
            wrong += !agrees(mutator.Next(), PlaceGuarded);
        CHECK(wrong == 0);
        MESSAGE(kind << ": " << inputs << " inputs, seed " << seed << ", ms " << ::GetTickCount() - start);
    }
}
