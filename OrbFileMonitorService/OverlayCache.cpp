#include "OrbFileMonitorService/OverlayCache.h"

bool OverlayCache::Connect() { return false; }
bool OverlayCache::Request(OverlayRequest, const wchar_t*, std::int32_t&) { return false; }
void OverlayCache::Disconnect() {}
