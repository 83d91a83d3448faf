#include "xml/PieceText.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <limits>

std::uint32_t Relocation::operator()(std::uint32_t address)
{
    if (m_last >= m_runs.size() || !m_runs[m_last].Holds(address)) {
        const auto behind = std::ranges::upper_bound(m_runs, address, {}, &Run::from);
        if (behind == m_runs.begin())
            return 0;
        m_last = static_cast<std::size_t>(std::prev(behind) - m_runs.begin());
    }
    const Run& run = m_runs[m_last];
    return run.Holds(address) ? run.to + (address - run.from) : 0;
}

void PieceText::Reset(CString text)
{
    m_base = text;
    m_length = static_cast<std::size_t>(m_base.GetLength());
    m_added = {};
    m_pieces.clear();
    m_byAddress.clear();
    if (m_length) {
        m_pieces.push_back({0, static_cast<std::uint32_t>(m_length)});
        m_byAddress.emplace(0, m_pieces.begin());
    }
    m_flat = true;
}

const wchar_t* PieceText::At(std::uint32_t address) const
{
    return address < FirstAdded() ? m_base.GetString() + address : m_added.data() + (address - FirstAdded());
}

PieceText::Pieces::iterator PieceText::PieceOf(std::uint32_t address) const
{
    const auto behind = m_byAddress.upper_bound(address);
    assert(behind != m_byAddress.begin());
    return std::prev(behind)->second;
}

std::wstring_view PieceText::Range(std::uint32_t start, std::uint32_t end, std::wstring& scratch) const
{
    if (start == end)
        return {};
    auto piece = PieceOf(start);
    if (start < end && end <= piece->End())
        return {At(start), end - start};
    scratch.clear();
    const auto last = PieceOf(end - 1);
    for (std::uint32_t from = start;; from = (++piece)->start) {
        const std::uint32_t to = piece == last ? end : piece->End();
        scratch.append(At(from), to - from);
        m_work += to - from + 1;
        if (piece == last)
            return scratch;
    }
}

bool PieceText::HasAddressesFor(std::size_t units) const
{
    // The last address is not used, so that the place behind every unit has an address.
    const std::size_t taken = static_cast<std::size_t>(FirstAdded()) + m_added.size();
    return units < std::numeric_limits<std::uint32_t>::max() - taken;
}

std::uint32_t PieceText::Stage(std::wstring_view text)
{
    const auto address = static_cast<std::uint32_t>(FirstAdded() + m_added.size());
    m_added.append(text);
    m_work += text.size();
    return address;
}

void PieceText::Unstage(std::uint32_t address) { m_added.resize(address - FirstAdded()); }

PieceText::Pieces::iterator PieceText::CutBefore(std::uint32_t address)
{
    const auto piece = PieceOf(address);
    if (piece->start == address)
        return piece;
    const auto rest = m_pieces.insert(std::next(piece), {address, piece->End() - address});
    m_byAddress.emplace(address, rest);
    piece->length = address - piece->start;
    return rest;
}

PieceText::Pieces::iterator PieceText::CutBehind(std::uint32_t end)
{
    const auto piece = PieceOf(end - 1);
    return piece->End() == end ? piece : std::prev(CutBefore(end));
}

void PieceText::Place(Pieces::iterator before, std::uint32_t staged, std::uint32_t length)
{
    ++m_work;
    m_flat = false;
    m_length += length;
    if (before != m_pieces.begin() && std::prev(before)->End() == staged) {
        std::prev(before)->length += length;
        return;
    }
    m_byAddress.emplace(staged, m_pieces.insert(before, {staged, length}));
}

void PieceText::PlaceBehind(std::uint32_t end, std::uint32_t staged, std::uint32_t length)
{
    Place(std::next(CutBehind(end)), staged, length);
}

void PieceText::PlaceBefore(std::uint32_t address, std::uint32_t staged, std::uint32_t length)
{
    Place(CutBefore(address), staged, length);
}

void PieceText::PlaceLast(std::uint32_t staged, std::uint32_t length) { Place(m_pieces.end(), staged, length); }

void PieceText::Remove(std::uint32_t start, std::uint32_t end)
{
    const auto behind = std::next(CutBehind(end));
    auto piece = CutBefore(start);
    while (piece != behind) {
        ++m_work;
        m_length -= piece->length;
        m_byAddress.erase(piece->start);
        piece = m_pieces.erase(piece);
    }
    m_flat = false;
}

Relocation PieceText::Flatten()
{
    CString joined;
    wchar_t* out = joined.GetBuffer(static_cast<int>(m_length));
    // The offsets of the pieces, by their addresses.
    std::map<std::uint32_t, std::uint32_t> offsets;
    std::uint32_t offset = 0;
    for (const Piece& piece : m_pieces) {
        std::copy_n(At(piece.start), piece.length, out + offset);
        offsets.emplace(piece.start, offset);
        offset += piece.length;
        m_work += piece.length + 1;
    }
    joined.ReleaseBuffer(static_cast<int>(m_length));
    Relocation relocation;
    for (const auto& [address, piece] : m_byAddress)
        relocation.Add(address, piece->length, offsets[address]);
    Reset(joined);
    return relocation;
}
