// The page of an estimate (report.html), as a text. "/*DATA*/" stands where the
// data goes.
#pragma once

extern const char* const ReportPage;
