// Tells the two kinds of files of rules apart, which have the same root.
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ApiBoundary.h"
#include "support/CaseFold.h"
#include "xml/Markup.h"

namespace
{

// The kinds of items that a file has shown so far.
struct Shown {
    bool selection = false;
    bool advanced = false;
    bool items = false;
    bool onlyPlainIncludes = true; // advanced filters of this kind would have no effect

    void Take(const CMarkup& document)
    {
        const std::wstring_view name = document.GetElementName();
        selection = selection || name == L"Plugin" || name == L"GlobalExclude";
        if (name != L"Item")
            return;
        items = true;
        const auto has = [&](const wchar_t* attribute) { return !document.GetAttributeView(attribute).empty(); };
        selection = selection || has(L"vid") || has(L"PRMask");
        advanced = advanced || has(L"isregex") || EqualNoCase(document.GetAttributeView(L"path"), AllPaths);
        onlyPlainIncludes = onlyPlainIncludes && !has(L"mask") && document.GetAttributeView(L"exclude") != L"1";
    }

    OrbFilter::FileKind Kind() const
    {
        using Kind = OrbFilter::FileKind;
        if (advanced)
            return selection ? Kind::Unclear : Kind::AdvancedFilters;
        return selection || (items && onlyPlainIncludes) ? Kind::Selection : Kind::Unclear;
    }
};

} // namespace

OrbFilter::FileKind OrbFilter::KindOfFile(const wchar_t* file)
{
    return AtBoundary(L"OrbFilter::KindOfFile", FileKind::Unclear, [&]() -> FileKind {
        CMarkup document;
        if (!file || !document.Load(file) || !document.GetParseError().IsEmpty() || !document.FindElement(L"Data"))
            return FileKind::Unclear;
        document.EnterElement();
        Shown shown;
        while (document.NextElement())
            shown.Take(document);
        return shown.Kind();
    });
}
