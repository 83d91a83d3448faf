#include "xml/Markup.h"

#include <benchmark/benchmark.h>

#include <string>

namespace
{

CString Selection(int items)
{
    std::wstring text = L"<Data>";
    for (int i = 0; i < items; ++i)
        text += L"<Item path=\"C:\\Users\\someone\\folder " + std::to_wstring(i) +
                L"\" type=\"1\" includeSub=\"1\" flags=\"0\" pluginId=\"3\" pluginName=\"Documents\"/>";
    return CString(std::wstring_view(text + L"</Data>"));
}

void XmlParseAndRead(benchmark::State& state)
{
    const CString text = Selection(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        CMarkup document;
        document.SetDoc(text);
        document.FindElement(L"Data");
        document.EnterElement();
        while (document.FindElement(L"Item"))
            for (const wchar_t* name : {L"path", L"type", L"pluginName"})
                benchmark::DoNotOptimize(document.GetAttribute(name));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(XmlParseAndRead)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
