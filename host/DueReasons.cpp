#include "host/DueReasons.h"

#include "companions/settings/OrbSettings.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr DueReason Reasons[] = {
    {FullDue::Killed, true, L"a watch was killed or crashed, and what it held is not known"},
    {FullDue::Dump, true, L"what a watch left pending was lost or damaged"},
    {FullDue::Index, true, L"the index of an earlier watch was lost or exchanged"},
    {FullDue::Selection, false, L"the selection was edited"},
    {FullDue::Destination, false, L"a folder is no destination any more"},
    {FullDue::Root, false, L"a drive that was to be looked at again has left the selection"},
    {FullDue::Time, false, L"the one that its time had begun was not completed"},
};

} // namespace

const DueReason* FindDueReason(const CString& reason)
{
    const auto* const found = std::find_if(std::begin(Reasons), std::end(Reasons),
                                           [&](const DueReason& one) { return reason == one.reason; });
    return found == std::end(Reasons) ? nullptr : found;
}
