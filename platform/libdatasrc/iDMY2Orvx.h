// iDMY2Orvx: converts a calendar date and a time of day to a date value.

#ifndef LIBDATASRC_IDMY2ORVX_H_
#define LIBDATASRC_IDMY2ORVX_H_

#include <ServerDataManager/Export.h>

// Stores the seconds since 1970-01-01T00:00 in `*result` and returns 0; `result` is not null. As in
// POSIX, every day has 86400 seconds. There is no time zone.
//
// The calendar is the proleptic Gregorian calendar of ISO 8601. Valid are years 1 to 9999, hours 0
// to 23, minutes 0 to 59 and seconds from 0 to below 61; second 60, a leap second, equals second 0
// of the next minute. For anything else, such as 30 February, returns 1 and leaves `*result`
// unchanged.
//
// Threads: any.
SDM_EXPORT int iDMY2Orvx(long day, long month, long year, long hour, long minute, double second,
                         double* result);

#endif  // LIBDATASRC_IDMY2ORVX_H_
