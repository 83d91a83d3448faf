// Any bytes as a document: it is read in every way and edited, and after that its
// index must say what a new parse of its text says.
#include "fuzz/FuzzInput.h"

#include "xml/Markup.h"

namespace
{

// The seeds' names; more are not needed to reach every path.
constexpr const wchar_t* kNames[] = {L"Data", L"Item", L"a"};

bool FindAny(CMarkup& markup)
{
    for (const wchar_t* name : kNames)
        if (markup.FindElement(name))
            return true;
    return false;
}

std::wstring Describe(CMarkup& markup)
{
    std::wstring out;
    markup.ResetPosition();
    // Reading an element reads all below it, so hostile depth is left alone.
    for (int steps = 0; steps < 200; ++steps) {
        if (FindAny(markup)) {
            for (const CString& text : {markup.GetAttribute(L"path"), markup.GetAttribute(L"flags"),
                                        markup.GetElementText(), markup.GetElementMarkup()})
                (out += text.View()) += L'|';
            markup.EnterElement();
        } else if (!markup.LeaveElement()) {
            break;
        }
    }
    return out;
}

void Edit(CMarkup& markup, const std::uint8_t* data, std::size_t size)
{
    markup.ResetPosition();
    for (std::size_t i = 0; i < size && i < 64; ++i) {
        switch (data[i] % 8) {
        case 0:
            markup.AppendElement(L"Item", L"x & y");
            break;
        case 1:
            markup.InsertMarkup(L"<a path='1'>t<Item/></a>");
            break;
        case 2:
            markup.RemoveElement();
            break;
        case 3:
            markup.ReplaceElement(markup.GetElementMarkup());
            break;
        case 4:
            markup.EnterElement();
            break;
        case 5:
            markup.LeaveElement();
            break;
        default:
            FindAny(markup);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CMarkup markup;
    markup.SetDoc(CString(std::wstring_view(AsUnits(AsBytes(data, size)))));
    Describe(markup);
    Edit(markup, data, size);
    const std::wstring edited = Describe(markup);
    CMarkup again;
    again.SetDoc(markup.GetDoc());
    Require(edited == Describe(again) && edited == Describe(markup));
    return 0;
}
