// iDMY2Orvx: from a calendar date and a time of day to the date value of statistics.

#ifndef LIBDATASRC_IDMY2ORVX_H_
#define LIBDATASRC_IDMY2ORVX_H_

// Stores in `*result` the seconds from 14 October 1582, 0:00, the eve of the Gregorian calendar, to
// the given moment, and returns 0. Every day has 86400 seconds; there are no time zones.
//
// Takes dates of the Gregorian calendar from that day to the end of the year 9999, hours 0 to 23,
// minutes 0 to 59 and seconds from 0 to below 61 (a leap second falls on the next minute's first).
// Anything else, a day that its month does not have too, returns 1 and leaves `*result` alone.
//
// Threads: any.
int iDMY2Orvx(long day, long month, long year, long hour, long minute, double second,
              double* result);

#endif  // LIBDATASRC_IDMY2ORVX_H_
