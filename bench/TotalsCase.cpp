// Recounting an estimate from the files that it has cached, beside the least that a recount needs: the path of each
// file, one decision by the rules, and a sum. The rival asks the disk nothing, because the sizes are known.
//
// The case does not show a selection of many rules (see "decide"), nor the scan that fills the cache (see "walk").
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/FileTree.h"
#include "orbwatcher4/Scanner.h"

#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr int bytesOfAFile = 4;

// A folder and the names of its files, side by side.
struct KnownFolder {
    std::wstring path; // ends in a backslash
    std::vector<std::wstring> files;
};

std::vector<KnownFolder> FoldersOf(const FileTree& tree)
{
    std::vector<KnownFolder> folders;
    for (const CString& file : tree.Files()) {
        const std::wstring path(file.View());
        const std::size_t name = path.rfind(L'\\') + 1;
        if (folders.empty() || folders.back().path != path.substr(0, name))
            folders.push_back({path.substr(0, name), {}});
        folders.back().files.push_back(path.substr(name));
    }
    return folders;
}

std::shared_ptr<Scanner> ScannerThatKnows(const FileTree& tree)
{
    auto scanner = std::make_shared<Scanner>();
    for (const CString& file : tree.Files())
        scanner->FileFoundCallback(file, bytesOfAFile);
    scanner->AddPath((tree.root + L'\\').GetString(), true);
    return scanner;
}

std::uint64_t SumOf(const std::vector<KnownFolder>& folders, OrbFilter& filter)
{
    std::uint64_t sum = 0;
    std::wstring path;
    for (const KnownFolder& folder : folders)
        for (const std::wstring& name : folder.files) {
            path.assign(folder.path).append(name);
            if (filter.CheckForInclusion(path.c_str(), nullptr, true, false) == Included)
                sum += bytesOfAFile;
        }
    return sum;
}

void CountTotals()
{
    const FileTree tree = TreeOf(200'000);
    const std::shared_ptr<Scanner> scanner = ScannerThatKnows(tree);
    const std::vector<KnownFolder> folders = FoldersOf(tree);
    OrbFilter filter;
    filter.AddSingleFilter(RuleFor(tree), true);
    const auto bytes = static_cast<std::uint64_t>(tree.files) * bytesOfAFile;
    const auto ours = [&](benchmark::State& state) {
        for (auto _ : state) {
            scanner->UpdateTotals();
            if (scanner->GetTotalSize() != double(bytes))
                state.SkipWithError("not all was counted");
        }
    };
    const auto bare = [&](benchmark::State& state) {
        for (auto _ : state)
            if (SumOf(folders, filter) != bytes)
                state.SkipWithError("not all was summed");
    };
    Contest("totals", {{"cached files", tree.files}})
        .Ours(ours)
        .Against("a decision and a sum for each file", 1.2, bare)
        .OnceARound()
        .Rounds(5)
        .Run();
}

const Case totals("totals", CountTotals);

} // namespace
