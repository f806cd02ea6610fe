// Clocks, sleeping, number conversions and IEEE bit views that compiled code calls directly.
#pragma once
#include <stdint.h>

extern "C" {

// Wall clock: seconds, milliseconds, and the millisecond part of the current second.
int64_t nolt_time(void);
int64_t nolt_time_millis(void);
int32_t nolt_time_subsec_millis(void);
// Local offset from UTC in seconds at that instant; 0 if the C library cannot tell.
int32_t nolt_local_offset_at(int64_t seconds);
// CPU time in units of nolt_clocks_per_sec().
int64_t nolt_clock(void);
int64_t nolt_clocks_per_sec(void);
// Sleep to a deadline on the monotonic clock; signals do not cut the sleep short. n < 1 returns.
void nolt_sleep_seconds(int64_t n);
void nolt_sleep_millis(int64_t n);
void nolt_sleep_micros(int64_t n);

double nolt_int_to_float(int64_t value);
// Truncating and rounding conversions; NaN gives 0 and values beyond the range saturate.
int64_t float_to_int(double value);
int64_t float_to_int_floor(double value);
int64_t float_to_int_ceil(double value);
int64_t float_to_int_round(double value);

uint64_t nolt_float64_to_bits(double value);
double nolt_bits_to_float64(uint64_t bits);
uint32_t nolt_float32_to_bits(float value);
float nolt_bits_to_float32(uint32_t bits);
// The biased 11-bit exponent, the 52-bit mantissa and the sign bit of a double.
int32_t nolt_float64_exponent(double value);
uint64_t nolt_float64_mantissa(double value);
int32_t nolt_float64_sign(double value);
double nolt_make_float64(int32_t sign, int32_t exponent, uint64_t mantissa);

void nolt_srand(uint32_t seed);

}  // extern "C"
