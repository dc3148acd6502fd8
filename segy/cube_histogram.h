#ifndef TOLMAR_CUBE_HISTOGRAM_H
#define TOLMAR_CUBE_HISTOGRAM_H
/* Histograms and effective amplitude ranges of a cube, callable from C and
   from other languages' foreign-function interfaces. Paths are NUL-terminated
   8-bit strings. A cube that cannot be opened leaves the outputs untouched;
   getCubeHistogramError then says why. */

#include "platform/api.h"

TOLMAR_PUBLIC_BEGIN

#ifdef __cplusplus
extern "C" {
#endif

/* The amplitude range of a brick file and its histogram summed down to nBins
   bins of size / nBins source bins each; source bins past nBins such groups
   are dropped. */
void getBrickHistogram(char const* path, float* low, float* high, unsigned long long* bins, int nBins);
/* The same for a SEG-Y file and its index file. */
void getIndexHistogram(char const* segyPath, char const* indexPath, float* low, float* high,
                       unsigned long long* bins, int nBins);

/* The amplitudes below which cutLow percent and above which cutHigh percent
   of a brick file's (or indexed SEG-Y file's) amplitudes lie. */
void getEffectiveRange(char const* path, float cutLow, float cutHigh, float* outLow, float* outHigh);
void getEffectiveRangeIndex(char const* segyPath, char const* indexPath, float cutLow, float cutHigh,
                            float* outLow, float* outHigh);

/* The inverse of getEffectiveRange: the percentages below effLow and above effHigh. */
void getPercentCut(char const* path, float effLow, float effHigh, float* cutLow, float* cutHigh);

/* Why the last of the calls above on this thread failed, as "FILE: reason",
   or NULL when it succeeded. The text stays valid until the thread's next
   call. */
char const* getCubeHistogramError(void);

#ifdef __cplusplus
}
#endif

TOLMAR_PUBLIC_END

#endif
