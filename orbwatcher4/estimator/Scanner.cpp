// The estimator's object: making, copying, destroying.
#include "orbwatcher4/Scanner.h"
#include "orbwatcher4/filter/ApiBoundary.h"

#include "orbwatcher4/estimator/DriveScans.h"
#include "orbwatcher4/estimator/EntryTree.h"
#include "orbwatcher4/estimator/Statistics.h"

namespace
{

constexpr const wchar_t* MatchesNothing = L"|invalid|"; // "|" is in no file name

} // namespace

Scanner::Scanner() : m_entryCache(MakeEntrySet()) { Initialize(); }

Scanner::Scanner(const wchar_t* dataXml, const wchar_t* autoExcludeXml, const wchar_t* statsXml)
    : m_entryCache(MakeEntrySet())
{
    SetBasicInfo(dataXml, autoExcludeXml, statsXml);
    Initialize();
}

Scanner::Scanner(const Scanner& other) : Scanner() { *this = other; }

Scanner& Scanner::operator=(const Scanner& other)
{
    if (this == &other)
        return *this;
    m_scans->End();
    other.m_scans->Wait(nullptr);
    m_dataXmlPath = other.m_dataXmlPath;
    m_autoExcludeXmlPath = other.m_autoExcludeXmlPath;
    m_statsXmlPath = other.m_statsXmlPath;
    m_fileFolderFilter = other.m_fileFolderFilter;
    m_profileRates = other.m_profileRates;
    m_extensionMap = other.m_extensionMap;
    m_entryCache = other.m_entryCache;
    m_cacheLock = other.m_cacheLock;
    m_tally = other.m_tally;
    m_defaultRatio = other.m_defaultRatio;
    m_firstPrice = other.m_firstPrice;
    m_secondPrice = other.m_secondPrice;
    m_allFilters = other.m_allFilters;
    m_selection = other.m_selection;
    m_totalCost = other.m_totalCost.load();
    m_totalSize = other.m_totalSize.load();
    m_calculating = other.m_calculating.load();
    m_includeHidden = other.m_includeHidden;
    m_abortEvent = other.m_abortEvent;
    m_stopEvent = other.m_stopEvent;
    return *this;
}

Scanner::~Scanner()
{
    m_scans.reset(); // its threads use everything else
    m_selection.ClearAll();
    m_allFilters.ClearAll();
}

void Scanner::Initialize()
{
    m_cacheLock = std::make_shared<SpinFlag>(L"estimate's cache");
    m_profileRates.set_empty_key(EmptyProfile);
    m_profileRates.set_deleted_key(NoProfile);
    m_abortEvent = std::make_shared<CSignal>();
    m_stopEvent = std::make_shared<CSignal>();
    m_fileFolderFilter = MatchesNothing;
    m_tally = std::make_shared<ScanTally>();
    m_scans = std::make_unique<DriveScans>(m_allFilters, *this);
}

void Scanner::SetBasicInfo(const wchar_t* dataXml, const wchar_t* autoExcludeXml, const wchar_t* statsXml)
{
    AtBoundary(L"Scanner::SetBasicInfo", [&] {
        if (dataXml)
            m_dataXmlPath = dataXml;
        if (autoExcludeXml)
            m_autoExcludeXmlPath = autoExcludeXml;
        if (statsXml)
            m_statsXmlPath = statsXml;
    });
}

void Scanner::SetPrice(double first, double second)
{
    m_firstPrice = static_cast<float>(first);
    m_secondPrice = static_cast<float>(second);
}

void Scanner::SetFileFolderFilter(const wchar_t* mask)
{
    AtBoundary(L"Scanner::SetFileFolderFilter", [&] {
        m_fileFolderFilter = mask && *mask ? mask : MatchesNothing;
        // Existing companions keep the mask that they were made with, because they belong to no stored profile.
        RemoveProfile(FileFolderFilterProfile);
        SetPath(FileFolderFilterProfile, std::vector<CString>(), m_fileFolderFilter, true, true);
    });
}
