// Calculates the sums of an estimate, file by file, in the order of a walk. One thread.
#pragma once

#include "orbwatcher4/Estimate.h"
#include "orbwatcher4/estimator/FileExtension.h"

#include <array>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

class EstimateSums
{
public:
    void TakeFile(const JudgedFile& file);
    void BeginFolder() { m_open.emplace_back(); }
    // Ends the last folder that has begun.
    void EndFolder(const CString& path);
    // Returns the estimate. Folders that have not ended are missing.
    Estimate Finish(bool whole);

private:
    struct OpenFolder {
        SizeTotal total;
        std::array<std::uint64_t, FileKinds> bytes{}; // by kind

        void Add(const OpenFolder& inner);
        FileKind Mostly() const;
    };

    SizeTotal m_included;
    std::vector<OpenFolder> m_open; // folders that have begun, the outermost first
    std::vector<Estimate::Folder> m_folders;
    std::unordered_map<CString, SizeTotal> m_extensions;
    std::map<std::pair<InclusionType, FilterPtr>, SizeTotal> m_leftOut;
};
