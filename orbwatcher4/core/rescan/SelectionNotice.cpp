#include "orbwatcher4/core/rescan/SelectionNotice.h"

#include "orbwatcher4/core/environment/Completes.h"

void NoticeSelection(DueEnumerations& due, Selection& selection, const CString& content) noexcept
{
    Completes(L"Comparing the selection with that of the last run", [&] {
        due.NoticeAnotherSelection(content);
        due.NoticeOtherDestinations(selection.KeptOutDestinations());
    });
}
