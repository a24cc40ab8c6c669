// CRC-16 and CRC-32, a test for powers of two, and the bending of a linear scale into a
// logarithmic or an exponential one.
#pragma once

#include "CommonTarnExport.h"

// CRC-16/ARC: reflected polynomial 0xA001, initial value 0, no final inversion.
COMMONTARN_API unsigned short ComputeCrc16(const void* data, unsigned long size);
// CRC-32 of IEEE 802.3 (the one of zlib and PNG); the result fits in 32 bits.
COMMONTARN_API unsigned long ComputeCrc32(const void* data, unsigned long size);

// The exponent k when value is 2 to the power k, otherwise -1 (also for 0).
COMMONTARN_API int GetPowerOf2(unsigned int value);

// Map 0..maximum onto itself along maximum * ln(value + 1) / ln(maximum + 1), rounded:
// large steps at the low end, small ones at the top. Values outside the range are clamped
// to 0 and maximum; a maximum of 0 or below gives 0.
COMMONTARN_API int MapLinearToLog(int value, int maximum);
// The mirror image, maximum - MapLinearToLog(maximum - value, maximum): small steps at the
// low end, large ones at the top. Same clamps.
COMMONTARN_API int MapLinearToExp(int value, int maximum);
