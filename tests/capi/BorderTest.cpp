// Wrong arguments are refused before anything is done, and failures are reported.
#include "tests/capi/CapiTest.h"

#include <set>
#include <sstream>
#include <thread>

namespace
{

class Border : public CapiTest
{
};

TEST_F(Border, TheVersionIsThatOfTheProject)
{
    const uint32_t version = OrbVersion();
    std::ostringstream text;
    text << (version >> 16) << '.' << (version >> 8 & 0xFF) << '.' << (version & 0xFF);
    EXPECT_EQ(text.str(), ORB_VERSION);
}

TEST_F(Border, EveryCodeHasATextOfItsOwn)
{
    std::set<std::wstring> texts;
    for (OrbResult code = ORB_OK; code <= ORB_FAILED; ++code)
        texts.insert(OrbResultText(code));
    for (OrbResult code = ORB_INDEX_LOCKED; code <= ORB_INDEX_NOT_FOUND; ++code)
        texts.insert(OrbResultText(code));
    EXPECT_EQ(texts.size(), 22u);
    const std::wstring unknown = OrbResultText(-1);
    EXPECT_FALSE(texts.contains(unknown));
    EXPECT_EQ(OrbResultText(12345), unknown);
}

TEST_F(Border, NullHandlesAndPointersAreRefused)
{
    auto file = Sized<OrbPendingFile>();
    auto deletion = Sized<OrbDeletion>();
    auto rescan = Sized<OrbRescan>();
    int64_t count = 0;
    uint32_t kept = 0;
    const OrbWatcherOptions options = Options();
    OrbWatcherHandle noWatcher = nullptr;
    OrbIndexHandle noIndex = nullptr;
    ASSERT_EQ(Create(options), ORB_OK);
    OpenIndex();
    OrbWatcherHandle const made = watcher.get();
    const OrbResult results[] = {
        OrbWatcherCreate(nullptr, &noWatcher),
        OrbWatcherCreate(&options, nullptr),
        OrbWatcherStart(nullptr, 0),
        OrbWatcherWaitReady(nullptr, 0),
        OrbWatcherRoots(nullptr, nullptr, 0, nullptr),
        OrbWatcherStop(nullptr),
        OrbWatcherIsPendingKept(nullptr, &kept),
        OrbWatcherIsPendingKept(made, nullptr),
        OrbPendingTake(nullptr, &file),
        OrbPendingTake(made, nullptr),
        OrbPendingPutBack(nullptr, L"C:\\a"),
        OrbPendingPutBack(made, nullptr),
        OrbPendingPutBack(made, L""),
        OrbPendingCount(nullptr, &count),
        OrbPendingCount(made, nullptr),
        OrbDeletionTake(nullptr, &deletion),
        OrbDeletionTake(made, nullptr),
        OrbRescanTake(nullptr, &rescan),
        OrbRescanTake(made, nullptr),
        OrbIndexOpen(nullptr, nullptr, &noIndex),
        OrbIndexOpen(L"", nullptr, &noIndex),
        OrbIndexOpen(indexPath.c_str(), nullptr, nullptr),
        OrbIndexRecord(nullptr, &file),
        OrbIndexRecord(index.get(), nullptr),
        OrbIndexForget(nullptr, L"C:\\a"),
        OrbIndexForget(index.get(), nullptr),
        OrbIndexForgetDeleted(nullptr, &deletion),
        OrbIndexForgetDeleted(index.get(), nullptr),
        OrbLastFailure(nullptr, 1, nullptr),
    };
    for (std::size_t i = 0; i < std::size(results); ++i)
        EXPECT_EQ(results[i], ORB_BAD_ARGUMENT) << "call " << i;
    OrbWatcherDestroy(nullptr);
    OrbIndexClose(nullptr);
}

TEST_F(Border, OptionsWithoutASelectionOrAnIndexAreRefused)
{
    OrbWatcherOptions options = Options();
    options.selection = nullptr;
    EXPECT_EQ(Create(options), ORB_BAD_ARGUMENT);
    options = Options();
    options.indexDatabase = L"";
    EXPECT_EQ(Create(options), ORB_BAD_ARGUMENT);
}

TEST_F(Border, OptionsOfAnUnknownSizeAreRefused)
{
    OrbWatcherOptions options = Options();
    for (const uint32_t size : {0u, 1u, 8u, unsigned(sizeof options) - 1, unsigned(sizeof options) + 1, 0xFFFFFFFFu}) {
        options.size = size;
        EXPECT_EQ(Create(options), ORB_BAD_SIZE);
        EXPECT_FALSE(watcher);
    }
}

TEST_F(Border, ATextThatIsTooLongIsRefused)
{
    OpenIndex();
    const std::wstring longest(ORB_LONGEST_TEXT, L'x');
    const std::wstring longer = longest + L"x";
    EXPECT_EQ(OrbIndexForget(index.get(), longest.c_str()), ORB_OK);
    EXPECT_EQ(OrbIndexForget(index.get(), longer.c_str()), ORB_TEXT_TOO_LONG);
    OrbWatcherOptions options = Options();
    options.destination = longer.c_str();
    EXPECT_EQ(Create(options), ORB_TEXT_TOO_LONG);
}

TEST_F(Border, AFailureTextGoesToTheBufferOrItsLengthIsTold)
{
    EXPECT_EQ(OrbWatcherStop(nullptr), ORB_BAD_ARGUMENT);
    const std::wstring text = LastFailure();
    ASSERT_NE(text, L"");
    uint32_t needed = 0;
    EXPECT_EQ(OrbLastFailure(nullptr, 0, &needed), ORB_BUFFER_TOO_SMALL);
    EXPECT_EQ(needed, text.size() + 1);
    std::wstring buffer(needed, L'#');
    EXPECT_EQ(OrbLastFailure(buffer.data(), needed - 1, nullptr), ORB_BUFFER_TOO_SMALL);
    EXPECT_EQ(buffer[0], L'\0');
    EXPECT_EQ(buffer[needed - 1], L'#');
    EXPECT_EQ(OrbLastFailure(buffer.data(), needed, nullptr), ORB_OK);
    EXPECT_STREQ(buffer.c_str(), text.c_str());
}

TEST_F(Border, EachThreadHasItsOwnFailure)
{
    EXPECT_EQ(OrbWatcherStop(nullptr), ORB_BAD_ARGUMENT);
    std::thread([] { EXPECT_EQ(LastFailure(), L""); }).join();
    EXPECT_NE(LastFailure(), L"");
}

} // namespace
