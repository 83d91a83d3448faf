// Recounting an estimate from what it has cached.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/FileTree.h"
#include "orbwatcher4/Scanner.h"

#include <shlwapi.h>

#include <memory>
#include <stdexcept>

namespace
{

constexpr int bytesOfAFile = 4;

std::shared_ptr<Scanner> ScannerThatKnows(const FileTree& tree)
{
    auto scanner = std::make_shared<Scanner>();
    for (const CString& file : tree.Files())
        scanner->FileFoundCallback(file, bytesOfAFile);
    scanner->AddPath((tree.root + L'\\').GetString(), true);
    return scanner;
}

void CountTotals()
{
    const FileTree tree = TreeOf(200'000);
    const std::vector<CString> files = tree.Files();
    const std::shared_ptr<Scanner> scanner = ScannerThatKnows(tree);
    const auto ours = [&](benchmark::State& state) {
        for (auto _ : state) {
            scanner->UpdateTotals();
            if (scanner->GetTotalSize() != double(files.size()) * bytesOfAFile)
                state.SkipWithError("not all was counted");
        }
    };
    const auto bare = [&](benchmark::State& state) {
        for (auto _ : state) {
            std::size_t folders = 0;
            for (const CString& file : files)
                folders += PathIsDirectoryW(file) != FALSE;
            if (folders != 0)
                state.SkipWithError("a file is a folder");
        }
    };
    Contest("totals", {{"cached files", double(files.size())}})
        .Ours(ours)
        .Against("bare PathIsDirectoryW", 1.2, bare)
        .OnceARound()
        .Rounds(5)
        .Run();
}

const Case totals("totals", CountTotals);

} // namespace
