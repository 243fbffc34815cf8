#pragma once

#include "dxconv/conversion_list.h"
#include "dxconv/supervision.h"

#include <memory>
#include <vector>

/// Converts files in workers, several at once, each in one of its own: what an effect does to its process
/// costs one file. Goes on after failures, which it prints at once, until all is tried or Ctrl+C. Thread:
/// one.
class CBatch {
public:
    /// Both are borrowed. Files that have a result already are left alone.
    CBatch(const ConvertOptions& options, std::vector<Conversion>& files);

    /// Gives every file its result; after Ctrl+C some stay NotStarted.
    void Run();

private:
    struct Running {
        Conversion* file;
        std::unique_ptr<CSupervisedRun> run;
    };

    void StartMore();
    void Start(Conversion& file);
    void WaitForAny() const;
    void TakeEnded();
    void ShowProgress() const;

    const ConvertOptions& m_options;
    std::vector<Conversion>& m_files;
    std::vector<Conversion>::iterator m_next;
    std::size_t m_jobs;
    std::vector<Running> m_running;
};
