/* Calls the histogram functions from C, so that their names and argument
   types are checked by a C compiler. */
#include "segy/cube_histogram.h"

void c_index_histogram(char const* segy, char const* index, float* low, float* high, unsigned long long* bins, int n)
{
    getIndexHistogram(segy, index, low, high, bins, n);
}

void c_brick_histogram(char const* path, float* low, float* high, unsigned long long* bins, int n)
{
    getBrickHistogram(path, low, high, bins, n);
}

void c_ranges(char const* brick, char const* segy, char const* index, float cutLow, float cutHigh, float out[8])
{
    getEffectiveRange(brick, cutLow, cutHigh, &out[0], &out[1]);
    getEffectiveRangeIndex(segy, index, cutLow, cutHigh, &out[2], &out[3]);
    getPercentCut(brick, out[0], out[1], &out[4], &out[5]);
}

/* The reason of the last failure, as C sees it: NULL after a success. */
char const* c_histogram_error(char const* brick)
{
    float low = 0, high = 0;
    unsigned long long bins[4];
    getBrickHistogram(brick, &low, &high, bins, 4);
    return getCubeHistogramError();
}
