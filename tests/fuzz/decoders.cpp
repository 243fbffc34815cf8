#include "tests/fuzz/decoders.h"

#include "config/PlugInElem.h"
#include "config/plugin_blob.h"
#include "dsp/CMemBuff.h"
#include "dxconv/CError.h"
#include "dxconv/CWavReader.h"

#include <windows.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

namespace {

std::uint64_t Le(const std::string& bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    while (count > 0)
        value = value << 8 | static_cast<std::uint8_t>(bytes[at + --count]);
    return value;
}

std::string Le32(std::uint64_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(value >> shift);
    return bytes;
}

std::string Content(const CMemBuff& buffer) {
    return std::string(reinterpret_cast<const char*>(buffer.Data()), static_cast<std::size_t>(buffer.Size()));
}

// ---- settings text

// Ends where a unit of 0 comes out.
std::u16string Units(const std::string& input) {
    std::u16string text;
    for (std::size_t i = 0; i < input.size(); ++i) {
        auto unit = static_cast<std::uint8_t>(input[i]);
        if (unit < 0x80)
            text += unit;
        else if (++i < input.size())
            text += static_cast<char16_t>((unit - 0x80) << 8 | static_cast<std::uint8_t>(input[i]));
    }
    return text.substr(0, text.find(u'\0'));
}

struct PlainSettings {
    bool decodes = false;
    bool named = false;
    std::string name;
    std::string payload; // up to the first mistake
    std::u16string hex;
};

PlainSettings ReadPlainly(const std::u16string& text) {
    PlainSettings plain;
    const std::size_t split = text.find(u"=X");
    if (split > 1022)
        return plain;
    const std::vector<wchar_t> name(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(split));
    char ansi[4 * 1024];
    const int units = static_cast<int>(split);
    const int bytes = units == 0 ? 0
                                 : ::WideCharToMultiByte(
                                       CP_ACP, 0, name.data(), units, ansi, sizeof ansi, nullptr, nullptr);
    if (bytes > 1023)
        return plain;
    plain.named = true;
    plain.name.assign(ansi, static_cast<std::size_t>(bytes));
    plain.hex = text.substr(split + 2);
    constexpr std::u16string_view kDigits = u"0123456789ABCDEF";
    const std::size_t good = std::min(plain.hex.find_first_not_of(kDigits), plain.hex.size());
    for (std::size_t i = 0; i + 1 < good; i += 2)
        plain.payload += static_cast<char>(kDigits.find(plain.hex[i]) * 16 + kDigits.find(plain.hex[i + 1]));
    plain.decodes = !plain.hex.empty() && plain.hex.size() == 2 * plain.payload.size();
    return plain;
}

// ---- the stored list

struct PlainList {
    bool whole = false;
    std::vector<std::pair<std::string, std::string>> records; // class identifier, name
};

PlainList ReadListPlainly(const std::string& blob) {
    PlainList list;
    if (blob.size() < 4)
        return list;
    const auto count = static_cast<std::int32_t>(Le(blob, 0, 4));
    std::size_t at = 4;
    for (std::int32_t i = 0; i < count; ++i) {
        if (blob.size() - at < 20)
            return list;
        const std::string clsid = blob.substr(at, 16);
        const auto stored = static_cast<std::int32_t>(Le(blob, at + 16, 4));
        const std::size_t length = stored < 1 ? 0 : static_cast<std::size_t>(stored);
        at += 20;
        if (length > blob.size() - at || (length != 0 && blob[at] == '\0'))
            return list;
        list.records.emplace_back(clsid, blob.substr(at, length));
        at += length;
    }
    list.whole = true;
    return list;
}

// ---- WAV

struct PlainWav {
    bool usable = false;
    WavHead head;
    std::size_t audioBytes = 0;
};

// Without channels when the fmt chunk's body is not one to convert.
WavFormat ReadFormatPlainly(std::string body) {
    if (body.size() < 16)
        return {};
    std::uint64_t tag = Le(body, 0, 2);
    const auto channels = static_cast<std::uint32_t>(Le(body, 2, 2));
    const auto rate = static_cast<std::uint32_t>(Le(body, 4, 4));
    const auto bits = static_cast<std::uint32_t>(Le(body, 14, 2));
    const std::size_t extra = body.size() < 18 ? 0 : static_cast<std::size_t>(Le(body, 16, 2));
    if (tag == 0xFFFE) {
        const std::string tail("\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 12);
        tag = body.size() >= 40 && extra >= 22 && body.substr(28, 12) == tail ? Le(body, 24, 4) : 0;
    }
    const bool known =
        (tag == 1 && (bits == 8 || bits == 16 || bits == 24 || bits == 32)) || (tag == 3 && bits == 32);
    const std::uint32_t frameBytes = channels * bits / 8;
    if (!known || rate == 0 || Le(body, 12, 2) != frameBytes)
        return {};
    const std::size_t room = std::clamp<std::size_t>(body.size(), 18, 44) - 18;
    body.resize(44);
    body.replace(8, 4, Le32(rate * frameBytes)).replace(16, 2, Le32(std::min(extra, room)), 0, 2);
    WavFormat format{channels, rate, frameBytes, tag == 3, {}};
    std::copy(body.begin(), body.end(), format.bytes.begin());
    return format;
}

PlainWav ReadWavPlainly(const std::string& file) {
    PlainWav wav;
    WavHead& head = wav.head;
    head.rf64 = file.starts_with("RF64") || file.starts_with("BW64");
    if (file.size() < 12 || !(head.rf64 || file.starts_with("RIFF")) || file.substr(8, 4) != "WAVE")
        return wav;
    head.riffBytes = Le(file, 4, 4);
    std::size_t at = 12;
    std::uint32_t bytes = 0;
    for (;; at += bytes + bytes % 2) {
        if (file.size() - at < 8)
            return wav;
        const std::string id = file.substr(at, 4);
        bytes = static_cast<std::uint32_t>(Le(file, at + 4, 4));
        at += 8;
        if (id == "data")
            break;
        if (std::uint64_t{bytes} + bytes % 2 > file.size() - at)
            return wav;
        if (id == "fmt " && head.format.channels == 0) {
            head.format = ReadFormatPlainly(file.substr(at, bytes));
            if (head.format.channels == 0)
                return wav;
        } else if (id == "ds64" && head.rf64 && bytes >= 24) {
            head.ds64Offset = at;
            head.dataBytes = Le(file, at + 8, 8);
            head.riffBytes = head.riffBytes == UINT32_MAX ? Le(file, at, 8) : head.riffBytes;
        } else if (id == "fact" && bytes >= 4)
            head.factOffset = at;
    }
    const bool inDs64 = bytes == UINT32_MAX && head.ds64Offset != 0;
    head.dataBytes = inDs64 ? head.dataBytes : bytes;
    const bool nothingAfter = head.riffBytes == UINT32_MAX || head.riffBytes <= at - 8;
    head.untilEnd = (bytes == UINT32_MAX && !inDs64) || (head.dataBytes == 0 && nothingAfter);
    head.dataOffset = at;
    wav.audioBytes = file.size() - at;
    if (!head.untilEnd && head.dataBytes < wav.audioBytes)
        wav.audioBytes = static_cast<std::size_t>(head.dataBytes);
    wav.usable = head.format.channels != 0;
    return wav;
}

struct Source : IByteSource {
    explicit Source(const std::string& bytes) : m_bytes(bytes) {}
    std::size_t Read(void* buffer, std::size_t bytes) override {
        bytes = m_bytes.copy(static_cast<char*>(buffer), bytes, m_at);
        m_at += bytes;
        return bytes;
    }
    const std::string& m_bytes;
    std::size_t m_at = 0;
};

struct Sink : IByteSink {
    void Write(const void* bytes, std::size_t count) override {
        content.append(static_cast<const char*>(bytes), count);
    }
    std::string content;
};

} // namespace

bool SettingsAgree(const std::string& input, PlaceFn place) {
    const std::u16string text = Units(input);
    const PlainSettings plain = ReadPlainly(text);
    CMemBuff decoded(1024);
    // With its terminator.
    const void* const placed = place(text.c_str(), (text.size() + 1) * sizeof(char16_t));
    if (decoded.FromSettingsString(static_cast<const wchar_t*>(placed)) != plain.decodes)
        return false;
    const std::string head = plain.named ? Le32(plain.name.size()) + plain.name : "";
    if (Content(decoded) != head + plain.payload)
        return false;
    char* name = nullptr;
    const bool named = decoded.ReadString(&name);
    const std::string readName = name == nullptr ? "" : name;
    std::free(name);
    char clsid[16];
    if (named != plain.named || readName != plain.name ||
        (named && decoded.Read(clsid, 16) != (plain.payload.size() >= 16)))
        return false;
    CMemBuff hex(64);
    return !plain.decodes ||
           (hex.WriteHex(plain.payload.data(), static_cast<std::int32_t>(plain.payload.size())) &&
               Content(hex) ==
                   std::string(reinterpret_cast<const char*>(plain.hex.data()), plain.hex.size() * 2));
}

bool PlugInsAgree(const std::string& input, PlaceFn place) {
    const PlainList plain = ReadListPlainly(input);
    // Never destroyed: the memory, which is all that it owns, is not its to free.
    alignas(CMemBuff) std::byte storage[sizeof(CMemBuff)];
    auto* const blob = new (storage) CMemBuff(1024);
    blob->Attach(place(input.data(), input.size()), static_cast<std::int32_t>(input.size()));
    CStructArray list(sizeof(PlugInElem), 16);
    if (DecodePlugIns(*blob, list) != plain.whole ||
        list.GetCount() != static_cast<int>(plain.records.size()))
        return false;
    std::string encoded = Le32(plain.records.size());
    for (int i = 0; i < list.GetCount(); ++i) {
        const auto& [clsid, name] = plain.records[static_cast<std::size_t>(i)];
        const PlugInElem& read = *PlugInAt(list, i);
        if (std::memcmp(&read.clsid, clsid.data(), 16) != 0 || (read.name == nullptr) != name.empty() ||
            (read.name != nullptr && std::memcmp(read.name, name.c_str(), name.size() + 1) != 0))
            return false;
        const std::string stored = name.c_str(); // a NUL inside ends it
        encoded += clsid + Le32(stored.size()) + stored;
    }
    CMemBuff again(1024);
    return EncodePlugIns(list, again) && Content(again) == encoded;
}

bool WavAgrees(const std::string& input, PlaceFn) {
    const auto [usable, head, audioBytes] = ReadWavPlainly(input);
    Source source(input);
    Sink sink;
    Sink audio;
    CWavReader reader(source, "in.wav");
    try {
        if (!(reader.ReadHead(sink) == head) || !usable)
            return false;
    } catch (const CError& error) {
        return !usable && error.Code() == ExitCode::Input;
    }
    std::vector<std::uint8_t> block;
    const std::size_t frameBytes = head.format.blockAlign;
    const std::size_t maxFrames = 1 + input.size() % 7;
    do {
        reader.ReadFrames(block, maxFrames);
        if (block.size() > maxFrames * frameBytes || block.size() % frameBytes != 0)
            return false;
        audio.Write(block.data(), block.size());
    } while (!block.empty());
    if (reader.PartialFrame().size() != audioBytes % frameBytes)
        return false;
    audio.Write(reader.PartialFrame().data(), reader.PartialFrame().size());
    reader.CopyRest(sink);
    const auto at = static_cast<std::size_t>(head.dataOffset);
    return audio.content == input.substr(at, audioBytes) &&
           sink.content == std::string(input).erase(at, audioBytes) && reader.AudioBytes() == audioBytes &&
           reader.TotalBytes() == input.size() &&
           reader.MissingBytes() == (head.untilEnd ? 0 : head.dataBytes - audioBytes);
}
