// The state of a CMarkup: the text, the index of its elements, the cursor.
//
// Private to this folder. Navigation and reading are in Markup.cpp and edits in MarkupEdit.cpp; this file has what both
// need.
#pragma once

#include "xml/AttributeTable.h"
#include "xml/ElementIndex.h"
#include "xml/Markup.h"
#include "xml/MarkupTokenizer.h"
#include "xml/PieceText.h"

struct CMarkup::Document {
    struct Cursor {
        std::uint32_t parent = 0;
        std::uint32_t current = 0;
        std::uint32_t child = 0; // where EnterElement continues
        NodeType type = NodeType::ElementEnd;

        void MoveTo(std::uint32_t element);
    };

    // Forgets everything except the encoding.
    void Clear();
    // Takes a text and parses it; the result stays as the load left it.
    void Parse(const CString& doc);
    // Makes one text of the pieces that edits left.
    void Flatten();

    const wchar_t* HeadOf(const ElementRecord& record) const { return text.At(record.start); }
    std::wstring_view Head(const ElementRecord& record) const { return {HeadOf(record), record.headLength}; }
    bool HasName(std::uint32_t element, std::wstring_view name) const;
    const AttributeTable& AttributesOf(std::uint32_t element);

    // Parses the text into the index; returns the error of the tags, and sets `place` to where it is.
    std::wstring BuildIndex(TextPlace& place);
    // Sets `place` when the error has one.
    std::wstring StructureError(TextPlace& place);
    TextPlace PlaceOf(std::uint32_t element);
    // Returns where the text at this offset stands, and its first line.
    StrayText StrayTextAt(std::size_t offset, TextPlaces& from);

    // Inserts the staged text of a new element at the cursor, which moves to it. The element's record needs no links
    // yet.
    bool CanInsert(std::size_t units);
    bool CanHoldElements(std::uint32_t parent) const;
    std::uint32_t Stage(std::wstring_view markup);
    void Insert(std::uint32_t element);
    // Removes the element from the text and the index; the cursor must leave it.
    void Erase(std::uint32_t element);
    void OpenUp(std::uint32_t element);
    void PlaceInto(std::uint32_t parent, std::uint32_t staged, std::uint32_t length);
    std::uint32_t EndTagOf(const ElementRecord& record) const;
    // Returns the number of the one element that is staged there; 0 when there is not exactly one.
    std::uint32_t ParseStaged(std::uint32_t staged, std::wstring_view markup);

    PieceText text;
    ElementIndex index;
    Cursor cursor;
    CString result;
    CString parseError;
    TextPlace parseErrorPlace;
    TextPlaces places;                   // of a text without edits
    std::vector<std::size_t> strayTexts; // offsets; none after an edit
    std::uint32_t flags = 0;
    // False when an error stopped the index: the rest of the document is not known, so that nothing can be placed in
    // relation to it.
    bool complete = true;
    AttributeTable attributes;
    std::uint32_t attributesOf = 0;
    std::wstring decoded; // the last attribute that had entities, decoded
    std::uint64_t work = 0;
};
