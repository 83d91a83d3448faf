#include "orbwatcher4/estimator/EstimateSums.h"

#include "orbwatcher4/estimator/FileKinds.h"

#include <algorithm>

namespace
{

const CString& NameOf(const Estimate::Folder& row) { return row.path; }
const CString& NameOf(const Estimate::Extension& row) { return row.extension; }

CString NameOf(const Estimate::LeftOut& row)
{
    return row.rule ? row.rule->path + L'|' + row.rule->mask : CString(); // in no path
}

// Sorts rows of one size by their names, so that the same files always give the same list.
template <typename Rows>
void LargestFirst(Rows& rows)
{
    std::sort(rows.begin(), rows.end(), [](const auto& left, const auto& right) {
        if (left.total.bytes != right.total.bytes)
            return left.total.bytes > right.total.bytes;
        if (left.total.files != right.total.files)
            return left.total.files > right.total.files;
        return NameOf(left) < NameOf(right);
    });
}

} // namespace

void EstimateSums::OpenFolder::Add(const OpenFolder& inner)
{
    total.Add(inner.total);
    for (std::size_t kind = 0; kind < FileKinds; ++kind)
        bytes[kind] += inner.bytes[kind];
}

// Among kinds of the same size the first one counts, so that the answer does not depend on the order of the files.
FileKind EstimateSums::OpenFolder::Mostly() const
{
    return static_cast<FileKind>(std::max_element(bytes.begin(), bytes.end()) - bytes.begin());
}

void EstimateSums::TakeFile(const JudgedFile& file)
{
    if (file.decision != Included)
        return m_leftOut[{file.decision, file.rule}].Add(file.size);
    m_included.Add(file.size);
    const CString extension = ExtensionOf(file.path);
    m_extensions[extension].Add(file.size);
    if (m_open.empty())
        return;
    m_open.back().total.Add(file.size);
    m_open.back().bytes[static_cast<std::size_t>(KindOf(extension.View()))] += file.size;
}

void EstimateSums::EndFolder(const CString& path)
{
    const OpenFolder folder = m_open.back();
    m_open.pop_back();
    if (!m_open.empty())
        m_open.back().Add(folder);
    if (folder.total.files != 0)
        m_folders.push_back({path, folder.total, folder.Mostly()});
}

Estimate EstimateSums::Finish(bool whole)
{
    Estimate estimate;
    estimate.whole = whole;
    estimate.included = m_included;
    estimate.folders = std::move(m_folders);
    for (const auto& [extension, total] : m_extensions)
        estimate.extensions.push_back({extension, total, KindOf(extension.View())});
    for (const auto& [why, total] : m_leftOut)
        estimate.leftOut.push_back({why.first, why.second, total});
    LargestFirst(estimate.folders);
    LargestFirst(estimate.extensions);
    LargestFirst(estimate.leftOut);
    return estimate;
}
