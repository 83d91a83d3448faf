#include "orbwatcher4/core/intake/LoadedSelection.h"

#include "orbwatcher4/core/environment/Completes.h"

void NoticeLoadedSelection(DueEnumerations& due, Selection& selection) noexcept
{
    if (!selection.requestedRoots.IsWatching())
        return;
    const bool noticed = Completes(L"Comparing the selection with the one that was looked at", [&] {
        due.NoticeAnotherSelection(selection.Content());
        due.NoticeOtherDestinations(selection.KeptOutDestinations());
    });
    if (!noticed)
        due.MakeFull();
}
