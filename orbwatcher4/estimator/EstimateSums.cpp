#include "orbwatcher4/estimator/EstimateSums.h"

#include <algorithm>

namespace
{

template <typename Rows>
void LargestFirst(Rows& rows)
{
    std::stable_sort(rows.begin(), rows.end(), [](const auto& left, const auto& right) {
        return std::pair(left.total.bytes, left.total.files) > std::pair(right.total.bytes, right.total.files);
    });
}

} // namespace

void EstimateSums::TakeFile(const JudgedFile& file)
{
    if (file.decision != Included)
        return m_leftOut[{file.decision, file.rule}].Add(file.size);
    m_included.Add(file.size);
    m_extensions[ExtensionOf(file.path)].Add(file.size);
    if (!m_open.empty())
        m_open.back().Add(file.size);
}

void EstimateSums::EndFolder(const CString& path)
{
    const SizeTotal total = m_open.back();
    m_open.pop_back();
    if (!m_open.empty())
        m_open.back().Add(total);
    if (total.files != 0)
        m_folders.push_back({path, total});
}

Estimate EstimateSums::Finish(bool whole)
{
    Estimate estimate;
    estimate.whole = whole;
    estimate.included = m_included;
    estimate.folders = std::move(m_folders);
    for (const auto& [extension, total] : m_extensions)
        estimate.extensions.push_back({extension, total});
    for (const auto& [why, total] : m_leftOut)
        estimate.leftOut.push_back({why.first, why.second, total});
    LargestFirst(estimate.folders);
    LargestFirst(estimate.extensions);
    LargestFirst(estimate.leftOut);
    return estimate;
}
