// A large selection from its file to rules in their order.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/SelectionFile.h"
#include "orbwatcher4/OrbFilter.h"
#include "xml/Markup.h"

#include <memory>

namespace
{

// And lets the document go, as whoever has read the rules does.
void Parse(benchmark::State& state, const SelectionFile& file)
{
    for (auto _ : state) {
        CMarkup document;
        if (!document.Load(file.path) || !document.GetParseError().IsEmpty())
            state.SkipWithError("the selection cannot be parsed");
    }
}

void LoadRules(benchmark::State& state, const SelectionFile& file)
{
    for (auto _ : state) {
        auto filter = std::make_unique<OrbFilter>();
        if (!filter->LoadXmlFilters(file.path, nullptr, nullptr))
            state.SkipWithError("the selection cannot be loaded");
        state.PauseTiming();
        if (filter->RulesOf(L"C:\\").size() < static_cast<std::size_t>(file.items))
            state.SkipWithError("some rules are missing");
        filter.reset();
        state.ResumeTiming();
    }
}

void LoadASelection()
{
    const SelectionFile file = LargeSelection();
    Contest("selection-load", {{"items", file.items}, {"megabytes", file.megabytes}})
        .Ours([=](benchmark::State& state) { LoadRules(state, file); })
        .Against("the parse alone", 2.5, [=](benchmark::State& state) { Parse(state, file); })
        .Run();
}

const Case loadASelection("selection-load", LoadASelection);

} // namespace
