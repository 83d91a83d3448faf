// CMarkup: a small XML document, held as one string of 16-bit units with an
// index of its elements and a cursor over it.
//
// It reads and writes what the selection, statistics and pending-list files
// hold. There are no namespaces, no validation and no entity declarations.
// Nothing throws, except on lack of memory. One object belongs to one thread at
// a time, also for the const members, which keep what they found; objects share
// nothing. One that was moved from can only be assigned to or destroyed.
#pragma once

#include "mfc/CString.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

class CMarkup
{
public:
    CMarkup();
    ~CMarkup();
    CMarkup(CMarkup&&) noexcept;
    CMarkup& operator=(CMarkup&&) noexcept;

    // Reads and parses a file. False only when it cannot be opened; GetResult
    // says why, the document is empty, and there is no parse error as nothing was
    // parsed. A document with errors is there as far as it could be indexed: the
    // elements that were open at the first error end there. A file that cannot be
    // read whole, or is too long, is an empty document.
    bool Load(const wchar_t* path);
    // Writes the document in the encoding it was loaded in; UTF-8 without a mark
    // otherwise. The file is written in place. GetResult then tells of the writing.
    bool Save(const wchar_t* path);
    // The document as a file would hold it, in the encoding it was loaded in. False when that encoding cannot hold the
    // text, such that reading it again would give another one.
    bool Encode(std::string& bytes) const;
    // Takes and parses a text. False when it does not parse without an error.
    bool SetDoc(const wchar_t* text);
    bool SetDoc(const CString& text);
    // Whole and current; good until the next edit. After edits this joins the text
    // again, which costs the document's length.
    const CString& GetDoc() const;

    // What the last load and parse, or the last save, had to say, for people; empty
    // when there is nothing.
    const CString& GetResult() const;
    // The error of the last parse alone; empty when it was good.
    const CString& GetParseError() const;

    // The cursor goes back to the top of the document.
    void ResetPosition();
    // The next child of the current parent with this name (exact, by unit).
    bool FindElement(const wchar_t* name);
    // Into the current element; false when there is none.
    bool EnterElement();
    // Out of the current parent, which becomes the current element again.
    bool LeaveElement();

    // Decoded; empty when there is no such attribute or no current element.
    CString GetAttribute(const wchar_t* name) const;
    // The same without a string of its own, for those who read very many; good
    // until the next call of any kind.
    std::wstring_view GetAttributeView(std::wstring_view name) const;
    // The current element's own text and CDATA, decoded and joined.
    CString GetElementText() const;
    // The current element's markup as it stands, from its first to its last unit.
    CString GetElementMarkup() const;

    // Edits leave every other unit of the document as it is, and cost what is
    // edited, not the document. They are refused, with nothing changed, where the
    // document's end or an error in its tags leaves the place in doubt: in a
    // document whose tags were wrong, for a second root, and into <a //>.

    // A new element after the current one (when there is none: after the last
    // child of the current parent); it becomes the current one. An empty parent
    // <a/> is opened up to <a>...</a>. False, too, when the name is no tag name.
    bool AppendElement(const wchar_t* name, const wchar_t* text = nullptr);
    // One element with well-formed tags, placed as AppendElement does, without the
    // white space around it. False, with nothing changed, for any other text.
    bool InsertMarkup(const wchar_t* xml);
    // The same in the place of the current element, which goes; not for the root.
    bool ReplaceElement(const wchar_t* xml);
    // Takes the current element out. What stood before it becomes the current one
    // (none when it was the first child).
    bool RemoveElement();

    // How many units and elements were looked at or moved so far: tests of cost
    // count this, and never time.
    std::uint64_t Work() const;

private:
    struct Document;
    std::unique_ptr<Document> m_document;
};
