// CMarkup: a small XML document, held as one string of 16-bit units with an
// index of its elements and a cursor over it.
//
// It reads and writes what the selection, statistics and pending-list files
// hold. There are no namespaces, no validation and no entity declarations.
// Nothing throws, except on lack of memory. One object belongs to one thread at
// a time; objects share nothing.
#pragma once

#include "mfc/CString.h"

class CMarkup
{
public:
    CMarkup();
    ~CMarkup();
    CMarkup(CMarkup&&) noexcept;
    CMarkup& operator=(CMarkup&&) noexcept;

    // Reads and parses a file. False only when it cannot be opened; GetResult
    // says why. A document with errors is there as far as it could be indexed.
    bool Load(const wchar_t* path);
    // Writes the document in the encoding it was loaded in; UTF-8 without a mark otherwise.
    bool Save(const wchar_t* path);
    // Takes and parses a text. False when it does not parse without an error.
    bool SetDoc(const wchar_t* text);
    bool SetDoc(const CString& text);
    const CString& GetDoc() const;

    // What the last load and parse had to say, for people; empty when there is nothing.
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
    // The current element's own text and CDATA, decoded and joined.
    CString GetElementText() const;
    // The current element's markup as it stands, from its first to its last unit.
    CString GetElementMarkup() const;

    // A new element after the current one (as the last child when there is none);
    // it becomes the current one.
    bool AppendElement(const wchar_t* name, const wchar_t* text = nullptr);
    // One well-formed element, placed as AppendElement does. False, with nothing
    // changed, for malformed text.
    bool InsertMarkup(const wchar_t* xml);
    // Takes the current element out. What stood before it becomes the current one
    // (none when it was the first child).
    bool RemoveElement();

private:
    struct Document;
    Document* m_document;
};
