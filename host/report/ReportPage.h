// The page of an estimate (report.html) as a text. "/*DATA*/" is the place for the data.
#pragma once

extern const char* const ReportPage;
