#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// Bytes are std::string here: comparisons and joins are what tests do with them.

/// Little-endian, `bytes` long.
std::string Le(std::uint64_t value, int bytes);

/// A chunk with its pad byte.
std::string Chunk(const std::string& id, const std::string& body);

/// Body of a fmt chunk. tag 0xFFFE: extensible with a PCM sub-format.
std::string Format(unsigned tag, unsigned channels, unsigned bits, unsigned samplesPerSec = 1000);

/// RIFF around chunks.
std::string Riff(const std::string& chunks);

/// Bytes that do not repeat early.
std::string Noise(std::size_t bytes);

/// The settings string with which the fake module runs `command`.
std::string FakeSettings(const std::string& command);

struct RunResult {
    unsigned long code = 0;
    std::string out;
    std::string err;
};

/// Called while the process runs; it is ended when it goes on for long after that.
using Meanwhile = std::function<void()>;

/// Runs dxconv.exe, which lies one folder above, with its standard handles on pipes.
RunResult RunDxconv(const std::vector<std::string>& arguments, const std::string& input = {},
    const Meanwhile& meanwhile = {});

/// `dxconv convert IN OUT --module FAKE` and `more`.
RunResult Convert(const std::string& in, const std::string& out, std::vector<std::string> more = {},
    const Meanwhile& meanwhile = {});

/// A fresh folder that goes with all its files. Names and paths are UTF-8.
class CTestFolder {
public:
    CTestFolder();
    ~CTestFolder();
    CTestFolder(const CTestFolder&) = delete;
    CTestFolder& operator=(const CTestFolder&) = delete;

    std::string Path(const std::string& name) const;
    /// Writes the file and returns its path.
    std::string Put(const std::string& name, std::string_view content) const;
    std::string Get(const std::string& name) const;
    /// Files in the folder itself.
    std::vector<std::string> Files() const;

private:
    std::string m_path;
};
