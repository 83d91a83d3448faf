// The walks of OrbFilter. They take effect together with the first enumeration;
// until then a walk finds nothing and ends well.
#include "orbwatcher4/OrbFilter.h"

bool OrbFilter::ScanDirectory(const wchar_t*, const wchar_t*, bool, SmartScanCaller*, bool) { return true; }

bool OrbFilter::SmartScanDirectory(const wchar_t*, const wchar_t*, bool, SmartScanCaller*, void*, bool) { return true; }
