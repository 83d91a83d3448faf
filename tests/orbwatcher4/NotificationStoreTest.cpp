#include "orbwatcher4/core/pending/NotificationStore.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>

namespace
{

std::shared_ptr<Notification> Make(std::uint64_t value = 0)
{
    auto notification = std::make_shared<Notification>();
    notification->timeStamp = value;
    return notification;
}

std::set<std::wstring> Round(NotificationStore& store)
{
    std::set<std::wstring> paths;
    store.BeginRound();
    for (NotificationStore::Entry entry; store.NextInRound(entry);)
        EXPECT_TRUE(paths.insert(entry.path.GetString()).second) << "twice in one round";
    return paths;
}

TEST(NotificationStore, KeepsOneEntryForAPathWhateverItsCaseAndTheFirstSpelling)
{
    NotificationStore store;
    store.Put(L"C:\\Straße\\Ärger.TXT", Make(1));
    store.Put(L"c:\\straße\\ärger.txt", Make(2));
    EXPECT_EQ(store.LiveCount(), 1);
    EXPECT_EQ(store.Find(L"C:\\STRAßE\\ÄRGER.txt")->timeStamp, 2u);
    EXPECT_EQ(Round(store), std::set<std::wstring>{L"C:\\Straße\\Ärger.TXT"});
}

TEST(NotificationStore, RefusesTheTwoPathsThatTheTableUsesItself)
{
    NotificationStore store;
    EXPECT_FALSE(store.Put(L"", Make()));
    EXPECT_FALSE(store.Put(L"?", Make()));
    EXPECT_FALSE(store.Erase(L""));
    EXPECT_FALSE(store.Erase(L"?"));
    EXPECT_EQ(store.Find(L"?"), nullptr);
    EXPECT_EQ(store.LiveCount(), 0);
}

TEST(NotificationStore, ARoundVisitsEveryEntryOnce)
{
    NotificationStore store;
    std::set<std::wstring> all;
    for (int i = 0; i < 1000; ++i) {
        all.insert(L"C:\\f" + std::to_wstring(i));
        store.Put((L"C:\\f" + std::to_wstring(i)).c_str(), Make());
    }
    EXPECT_EQ(Round(store), all);
    EXPECT_EQ(Round(store), all);
}

TEST(NotificationStore, AnEntryIsNotPassedOverWhenTheTableGrowsInTheMiddleOfARound)
{
    NotificationStore store;
    std::set<std::wstring> seen;
    store.Put(L"C:\\last", Make());
    for (int i = 0; i < 20; ++i)
        store.Put((L"C:\\a" + std::to_wstring(i)).c_str(), Make());
    store.BeginRound();
    NotificationStore::Entry entry;
    for (int i = 0; i < 3 && store.NextInRound(entry); ++i)
        seen.insert(entry.path.GetString());
    for (int i = 0; i < 500; ++i)
        store.Put((L"C:\\b" + std::to_wstring(i)).c_str(), Make());
    while (store.NextInRound(entry))
        seen.insert(entry.path.GetString());
    EXPECT_EQ(seen.size(), 521u);
}

CString Numbered(int number) { return (L"C:\\folder\\file" + std::to_wstring(number)).c_str(); }

void Fill(NotificationStore& store, int count)
{
    for (int i = 0; i < count; ++i)
        store.Put(Numbered(i), Make());
}

// As the calls of the service do: each begins a round.
int Drain(NotificationStore& store)
{
    int drained = 0;
    NotificationStore::Entry entry;
    for (store.BeginRound(); store.NextInRound(entry); store.BeginRound())
        drained += store.EraseVisited();
    return drained;
}

TEST(NotificationStore, DrainingCostsAConstantNumberOfPlacesPerEntryAndNoLookUp)
{
    for (const int count : {1000, 100000}) {
        NotificationStore store;
        Fill(store, count);
        const std::uint64_t probed = store.SlotsProbed();
        EXPECT_EQ(Drain(store), count);
        EXPECT_EQ(store.LiveCount(), 0);
        EXPECT_LE(static_cast<double>(store.PlacesVisited()) / count, 2.0) << count;
        EXPECT_EQ(store.SlotsProbed(), probed) << count;
    }
}

TEST(NotificationStore, AFewEntriesThatStayAreNotPaidForWithThoseThatAreGone)
{
    NotificationStore store;
    Fill(store, 100000);
    for (int i = 0; i < 99990; ++i)
        store.Erase(Numbered(i));
    EXPECT_EQ(Round(store).size(), 10u);
    const std::uint64_t before = store.PlacesVisited();
    EXPECT_EQ(Round(store).size(), 10u);
    EXPECT_LE(store.PlacesVisited() - before, 2000u);
    EXPECT_LE(store.TableBytes(), 100000u);
    EXPECT_TRUE(store.Find(Numbered(99995)));
    EXPECT_FALSE(store.Find(Numbered(5)));
}

TEST(NotificationStore, NeedsLittleMemoryForAnEntryBesideItsPath)
{
    NotificationStore store;
    Fill(store, 100000);
    EXPECT_LE(store.TableBytes() / 100000, 40u);
}

TEST(NotificationStore, LookingUpTakesFewSlotsHoweverMuchIsHeld)
{
    for (const int count : {20, 1000, 100000, 195000}) {
        NotificationStore store;
        Fill(store, count);
        const std::uint64_t before = store.SlotsProbed();
        for (int i = 0; i < count; ++i)
            EXPECT_TRUE(store.Find(Numbered(i)));
        EXPECT_LE(static_cast<double>(store.SlotsProbed() - before) / count, 3.0) << count;
    }
}

TEST(NotificationStore, KeepsOneNotificationForAllPathsOfWhichTheSameIsToBeSaid)
{
    const auto rules = [](const wchar_t* text) {
        auto notification = Make();
        notification->firstText = text;
        return notification;
    };
    NotificationStore store;
    store.Put(L"C:\\a", rules(L"Mail"));
    store.Put(L"C:\\b", rules(L"Mail"));
    store.Put(L"C:\\c", rules(L"Photos"));
    EXPECT_EQ(store.Find(L"C:\\a"), store.Find(L"C:\\b"));
    EXPECT_NE(store.Find(L"C:\\a"), store.Find(L"C:\\c"));
    EXPECT_STREQ(store.Find(L"C:\\c")->firstText, L"Photos");
    store.Put(L"C:\\c", rules(L"Mail"));
    EXPECT_EQ(store.Find(L"C:\\a"), store.Find(L"C:\\c"));
}

TEST(NotificationStore, EachDifferenceKeepsNotificationsApart)
{
    const auto differing = [](int what) {
        auto notification = Make();
        notification->kind = what == 1 ? NotificationKind::Modified : NotificationKind::Added;
        notification->ruleFlags = what == 2;
        notification->ruleValue = what == 3;
        notification->firstText = what == 4 ? L"x" : L"";
        notification->secondText = what == 5 ? L"x" : L"";
        notification->timeStamp = what == 6;
        return notification;
    };
    NotificationStore store;
    std::set<NotificationPtr> all;
    for (int what = 0; what <= 6; ++what) {
        store.Put(Numbered(what), differing(what));
        all.insert(store.Find(Numbered(what)));
    }
    EXPECT_EQ(all.size(), 7u);
}

TEST(NotificationStore, EachDeletionIsItsOwn)
{
    NotificationStore store;
    for (const wchar_t* path : {L"C:\\a", L"C:\\b"}) {
        auto notification = Make();
        notification->kind = NotificationKind::Deleted;
        store.Put(path, notification);
        EXPECT_EQ(store.Find(path), notification);
    }
}

TEST(NotificationStore, WhatWasVisitedIsErasedAlsoWhenTheStoreHasGrownSince)
{
    NotificationStore store;
    Fill(store, 20);
    store.Erase(Numbered(0));
    NotificationStore::Entry entry;
    store.BeginRound();
    ASSERT_TRUE(store.NextInRound(entry));
    for (int i = 100; i < 1000; ++i)
        store.Put(Numbered(i), Make());
    EXPECT_TRUE(store.EraseVisited());
    EXPECT_FALSE(store.Find(entry.path));
    EXPECT_EQ(store.LiveCount(), 918);
}

TEST(NotificationStore, WhatWasVisitedAndIsGoneCannotBeErasedAgain)
{
    NotificationStore store;
    EXPECT_FALSE(store.EraseVisited());
    Fill(store, 3);
    NotificationStore::Entry entry;
    store.BeginRound();
    ASSERT_TRUE(store.NextInRound(entry));
    EXPECT_TRUE(store.Erase(entry.path));
    store.Put(entry.path, Make(7));
    EXPECT_FALSE(store.EraseVisited());
    EXPECT_EQ(store.LiveCount(), 3);
    ASSERT_TRUE(store.NextInRound(entry));
    store.Clear();
    EXPECT_FALSE(store.EraseVisited());
}

TEST(NotificationStore, GivesMemoryBackWhileItIsDrained)
{
    constexpr int count = 20'000;
    NotificationStore store;
    Fill(store, count);
    const std::size_t full = store.TableBytes();
    NotificationStore::Entry entry;
    for (int drained = 0; drained < count * 9 / 10; ++drained) {
        store.BeginRound();
        ASSERT_TRUE(store.NextInRound(entry));
        ASSERT_TRUE(store.EraseVisited());
    }
    EXPECT_LT(store.TableBytes(), full / 3);
    EXPECT_FALSE(store.Find(Numbered(0)));
    EXPECT_TRUE(store.Find(Numbered(count - 1)));
    EXPECT_TRUE(store.Put(Numbered(0), Make()));
    EXPECT_EQ(Round(store).size(), count / 10 + 1u);
}

TEST(NotificationStore, ARoundThatLosesItsBeginningComesUponNothingTwice)
{
    constexpr int count = 5'000;
    NotificationStore store;
    Fill(store, count);
    NotificationStore::Entry entry;
    std::set<std::wstring> seen;
    store.BeginRound();
    for (int i = 0; i < 3000; ++i) // the next round begins behind these
        ASSERT_TRUE(store.NextInRound(entry));
    store.BeginRound();
    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(store.NextInRound(entry));
        EXPECT_TRUE(seen.insert(entry.path.GetString()).second);
        store.Erase(Numbered(i));
        store.Erase(Numbered(i + 1000));
    }
    while (store.NextInRound(entry))
        EXPECT_TRUE(seen.insert(entry.path.GetString()).second);
    EXPECT_EQ(seen.size(), 3000u);
}

// A plain table of the same paths, after the same steps.
TEST(NotificationStore, HoldsWhatAPlainTableHoldsWhateverIsDoneToIt)
{
    NotificationStore store;
    std::map<std::wstring, std::uint64_t> expected;
    std::minstd_rand random(7);
    for (std::uint64_t step = 1; step <= 50000; ++step) {
        const CString path = Numbered(static_cast<int>(random() % (step % 10000 < 7000 ? 3000 : 40)));
        NotificationStore::Entry entry;
        switch (random() % 4) {
        case 0:
            EXPECT_EQ(store.Erase(path), expected.erase(path.GetString()) != 0);
            break;
        case 1:
            store.BeginRound();
            ASSERT_EQ(store.NextInRound(entry), !expected.empty());
            if (expected.empty())
                break;
            EXPECT_EQ(expected.at(entry.path.GetString()), entry.notification->timeStamp);
            expected.erase(entry.path.GetString());
            EXPECT_TRUE(store.EraseVisited());
            break;
        default:
            store.Put(path, Make(step));
            expected[path.GetString()] = step;
        }
        ASSERT_EQ(store.LiveCount(), static_cast<std::int64_t>(expected.size()));
    }
    std::set<std::wstring> paths;
    for (const auto& [path, value] : expected) {
        paths.insert(path);
        ASSERT_TRUE(store.Find(path.c_str()));
        EXPECT_EQ(store.Find(path.c_str())->timeStamp, value);
    }
    EXPECT_EQ(Round(store), paths);
}

TEST(NotificationStore, CountersHoldTheDistanceBetweenTheElementWords)
{
    NotificationStore store;
    store.Put(L"C:\\a", Make());
    store.Put(L"C:\\b", Make());
    EXPECT_EQ(store.Counters().end - store.Counters().begin, 2u);
    store.Clear();
    EXPECT_EQ(store.Counters().end - store.Counters().begin, 0u);
}

FilterPtr Rule(const wchar_t* text, int number, std::uint32_t flags = 0, int value = 0)
{
    auto rule = std::make_shared<Filter>();
    rule->pluginName = text;
    rule->pluginId = number;
    rule->flags = flags;
    rule->jobid = value;
    return rule;
}

TEST(FillFromRules, JoinsTextsAndNumbersInTheSamePositions)
{
    Notification notification;
    FillFromRules(notification, {Rule(L"Mail", 3), Rule(L"Photos", -4)});
    EXPECT_STREQ(notification.firstText, L"Mail:Photos");
    EXPECT_STREQ(notification.secondText, L"3:-4");
}

TEST(FillFromRules, SkipsATextThatTheFirstTextContainsAndItsNumberToo)
{
    Notification notification;
    FillFromRules(notification, {Rule(L"MyMail", 3), Rule(L"Mail", 4), Rule(L"Photos", 5)});
    EXPECT_STREQ(notification.firstText, L"MyMail:Photos");
    EXPECT_STREQ(notification.secondText, L"3:5");
}

TEST(FillFromRules, DropsTheColonThatASkippedLastRuleLeaves)
{
    Notification notification;
    FillFromRules(notification, {Rule(L"Mail", 3), Rule(L"Mail", 4)});
    EXPECT_STREQ(notification.firstText, L"Mail");
    EXPECT_STREQ(notification.secondText, L"3");
}

TEST(FillFromRules, ARuleWithoutTextSetsItsFlag)
{
    Notification notification;
    FillFromRules(notification, {Rule(L"", 3)});
    EXPECT_TRUE(notification.firstText.IsEmpty());
    EXPECT_TRUE(notification.secondText.IsEmpty());
    EXPECT_TRUE(notification.ruleFlags & 0x8000);
}

TEST(FillFromRules, CopiesOnlyTheFlagsThatAreHandedOn)
{
    Notification notification;
    FillFromRules(notification, {Rule(L"a", 1, 0xFFFFFFFF & ~0xC0000u)});
    EXPECT_EQ(notification.ruleFlags, 0x400u | 0x800u | 0x4000u | 0x4000000u | 0x800000u);
}

TEST(FillFromRules, AnOverlayOnceShownStaysShownWhateverLaterRulesBring)
{
    Notification shown;
    FillFromRules(shown, {Rule(L"a", 1), Rule(L"b", 2, 0x40000)});
    EXPECT_TRUE(shown.ruleFlags & 0x800000);
    Notification hidden;
    FillFromRules(hidden, {Rule(L"a", 1, 0x80000), Rule(L"b", 2)});
    EXPECT_FALSE(hidden.ruleFlags & 0x800000);
}

TEST(FillFromRules, ValuesAreOredTogether)
{
    Notification notification;
    FillFromRules(notification, {Rule(L"a", 1, 0, 5), Rule(L"b", 2, 0, 0), Rule(L"c", 3, 0, 8)});
    EXPECT_EQ(notification.ruleValue, 13u);
}

} // namespace
