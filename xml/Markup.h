// CMarkup: a small XML document, held as one string of 16-bit units with an index of its elements and a cursor.
//
// It reads and writes the contents of the selection, statistics and pending-list files. There are no namespaces, no
// validation and no entity declarations. Nothing throws, except when memory runs out. One object belongs to one thread
// at a time, also for the const members, which keep what they found; objects share nothing. An object that was moved
// from can only be assigned to or destroyed.
#pragma once

#include "mfc/CString.h"
#include "xml/TextPlace.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class CMarkup
{
public:
    CMarkup();
    ~CMarkup();
    CMarkup(CMarkup&&) noexcept;
    CMarkup& operator=(CMarkup&&) noexcept;

    // Reads and parses a file. Returns false only when it cannot be opened: GetResult then says why, the document is
    // empty, and there is no parse error, because nothing was parsed. A document with errors is kept as far as it could
    // be indexed: the elements that were open at the first error end there. A file that cannot be read whole, or is too
    // long, gives an empty document.
    bool Load(const wchar_t* path);
    // Writes the document in place, in the encoding in which it was loaded, otherwise in UTF-8 without a mark.
    // GetResult then reports on the writing.
    bool Save(const wchar_t* path);
    // Encodes the document as a file would hold it, in the encoding in which it was loaded. Returns false when that
    // encoding cannot hold the text, so that reading it again would give another text.
    bool Encode(std::string& bytes) const;
    // Takes and parses a text. Returns false when it has a parse error.
    bool SetDoc(const wchar_t* text);
    bool SetDoc(const CString& text);
    // Returns the whole, current text; valid until the next edit. After edits this call joins the text again, which
    // costs the document's length.
    const CString& GetDoc() const;

    // Returns the message for people of the last load and parse, or of the last save; empty when there is none.
    const CString& GetResult() const;
    // Returns the error of the last parse alone; empty when there was none.
    const CString& GetParseError() const;
    // Returns where that error is; no place when there was none, or when it concerns the whole document.
    TextPlace GetParseErrorPlace() const;

    // Moves the cursor back to the top of the document.
    void ResetPosition();
    // Moves the cursor to the next child of the current parent with this name (exact, by unit).
    bool FindElement(const wchar_t* name);
    // Moves the cursor to the next child of the current parent, whatever its name.
    bool NextElement();
    // Moves the cursor into the current element; returns false when there is none.
    bool EnterElement();
    // Moves the cursor out of the current parent, which becomes the current element again.
    bool LeaveElement();

    // Returns the decoded value; empty when there is no such attribute or no current element.
    CString GetAttribute(const wchar_t* name) const;
    // Returns the same without a string of its own, for callers that read very many; valid until the next call of any
    // kind.
    std::wstring_view GetAttributeView(std::wstring_view name) const;
    // Returns the names of the current element's attributes; of two equal ones both. Valid until the next call of any
    // kind.
    std::vector<std::wstring_view> GetAttributeNames() const;
    std::size_t CountAttributes() const;
    // Returns true when the current element's first attribute with this name has a value in quotation marks.
    bool IsAttributeQuoted(std::wstring_view name) const;
    // Returns the names of the current element's attributes whose value has an ampersand that stays as it is, because
    // nothing known begins with it. Valid until the next call of any kind.
    std::vector<std::wstring_view> GetAmpersandAttributes() const;
    // Returns true when each of them has a value in quotation marks.
    bool HasQuotedAttributes() const;
    // Returns the current element's name; empty when there is none. Valid until the next edit.
    std::wstring_view GetElementName() const;
    // Returns where the current element begins; no place when there is none. Calls from front to back cost one pass
    // over the document together.
    TextPlace GetElementPlace() const;
    // A text, other than white space, outside of the root or directly in it. Files of this kind have no such text.
    struct StrayText {
        enum class Where { BeforeRoot, InRoot, BehindRoot };

        TextPlace place;
        std::wstring_view line; // its first line
        Where where;
    };
    // Returns the stray texts of a document without edits, in their order; none after an edit. Valid until the next
    // edit.
    std::vector<StrayText> GetStrayTexts() const;
    // Returns true when the current element has a child with this name.
    bool HasChild(std::wstring_view name) const;
    // Returns the current element's own text and CDATA, decoded and joined.
    CString GetElementText() const;
    // Returns the current element's markup as it is, from its first to its last unit.
    CString GetElementMarkup() const;

    // Edits leave every other unit of the document as it is, and cost what is edited, not the document. They are
    // refused, with nothing changed, when the document's end or an error in its tags leaves the place in doubt: in a
    // document whose tags were wrong, for a second root, and into <a //>.

    // Adds a new element after the current one, or, when there is none, after the last child of the current parent. The
    // new element becomes the current one. An empty parent <a/> is opened up to <a>...</a>. Also returns false when the
    // name is no tag name.
    bool AppendElement(const wchar_t* name, const wchar_t* text = nullptr);
    // Adds one element with well-formed tags, without the white space around it, where AppendElement would add one.
    // Returns false, with nothing changed, for any other text.
    bool InsertMarkup(const wchar_t* xml);
    // Replaces the current element by one element with well-formed tags; refused for the root.
    bool ReplaceElement(const wchar_t* xml);
    // Removes the current element. The sibling before it becomes the current one (none when it was the first child).
    bool RemoveElement();

    // Returns how many units and elements were looked at or moved so far. Tests of cost count this, never time.
    std::uint64_t Work() const;

private:
    struct Document;
    std::unique_ptr<Document> m_document;
};
