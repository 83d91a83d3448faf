#include "orbwatcher4/core/NotificationStore.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace
{

NotificationPtr Make(std::uint64_t value = 0)
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

TEST(NotificationStore, DrainingCostsAConstantNumberOfSlotsPerEntry)
{
    const auto slotsPerEntry = [](int count) {
        NotificationStore store;
        for (int i = 0; i < count; ++i)
            store.Put((L"C:\\folder\\file" + std::to_wstring(i)).c_str(), Make());
        const std::uint64_t before = store.SlotsVisited();
        NotificationStore::Entry entry;
        for (int i = 0; i < count; ++i) {
            store.BeginRound(); // as every call of the service does
            EXPECT_TRUE(store.NextInRound(entry));
            store.Erase(entry.path);
        }
        EXPECT_EQ(store.LiveCount(), 0);
        return static_cast<double>(store.SlotsVisited() - before) / count;
    };
    EXPECT_LE(slotsPerEntry(100000), 8.0);
    EXPECT_LE(slotsPerEntry(1000), 8.0);
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
