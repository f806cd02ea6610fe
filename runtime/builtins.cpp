#include "runtime/builtins.hpp"

#include <errno.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

namespace {

timespec now(clockid_t clock) {
    timespec ts{};
    clock_gettime(clock, &ts);
    return ts;
}

void sleep_nanos(int64_t nanos) {
    timespec deadline = now(CLOCK_MONOTONIC);
    deadline.tv_sec += nanos / 1000000000;
    deadline.tv_nsec += nanos % 1000000000;
    if (deadline.tv_nsec >= 1000000000) {
        deadline.tv_sec++;
        deadline.tv_nsec -= 1000000000;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
    }
}

int64_t saturate(double value) {
    if (isnan(value)) return 0;
    if (value >= 9223372036854775807.0) return INT64_MAX;
    if (value <= -9223372036854775808.0) return INT64_MIN;
    return (int64_t)value;
}

template <class To, class From>
To bits_of(From value) {
    To bits;
    memcpy(&bits, &value, sizeof bits);
    return bits;
}

}  // namespace

extern "C" {

int64_t nolt_time(void) { return now(CLOCK_REALTIME).tv_sec; }

int64_t nolt_time_millis(void) {
    timespec ts = now(CLOCK_REALTIME);
    return int64_t(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

int32_t nolt_time_subsec_millis(void) { return int32_t(now(CLOCK_REALTIME).tv_nsec / 1000000); }

int32_t nolt_local_offset_at(int64_t seconds) {
    time_t instant = (time_t)seconds;
    tm local{}, utc{};
    if (!localtime_r(&instant, &local) || !gmtime_r(&instant, &utc)) return 0;
    int32_t offset = (local.tm_hour - utc.tm_hour) * 3600 + (local.tm_min - utc.tm_min) * 60 + (local.tm_sec - utc.tm_sec);
    if (local.tm_year != utc.tm_year) offset += local.tm_year > utc.tm_year ? 86400 : -86400;
    else if (local.tm_yday != utc.tm_yday) offset += local.tm_yday > utc.tm_yday ? 86400 : -86400;
    return offset;
}

int64_t nolt_clock(void) {
    timespec ts = now(CLOCK_PROCESS_CPUTIME_ID);
    return int64_t(ts.tv_sec) * 1000000 + ts.tv_nsec / 1000;
}

int64_t nolt_clocks_per_sec(void) { return 1000000; }

void nolt_sleep_seconds(int64_t n) {
    if (n >= 1) sleep_nanos(n * 1000000000);
}
void nolt_sleep_millis(int64_t n) {
    if (n >= 1) sleep_nanos(n * 1000000);
}
void nolt_sleep_micros(int64_t n) {
    if (n >= 1) sleep_nanos(n * 1000);
}

double nolt_int_to_float(int64_t value) { return (double)value; }
int64_t float_to_int(double value) { return saturate(value); }
int64_t float_to_int_floor(double value) { return saturate(floor(value)); }
int64_t float_to_int_ceil(double value) { return saturate(ceil(value)); }
int64_t float_to_int_round(double value) { return saturate(round(value)); }

uint64_t nolt_float64_to_bits(double value) { return bits_of<uint64_t>(value); }
double nolt_bits_to_float64(uint64_t bits) { return bits_of<double>(bits); }
uint32_t nolt_float32_to_bits(float value) { return bits_of<uint32_t>(value); }
float nolt_bits_to_float32(uint32_t bits) { return bits_of<float>(bits); }
int32_t nolt_float64_exponent(double value) { return int32_t((nolt_float64_to_bits(value) >> 52) & 0x7FF); }
uint64_t nolt_float64_mantissa(double value) { return nolt_float64_to_bits(value) & ((uint64_t(1) << 52) - 1); }
int32_t nolt_float64_sign(double value) { return int32_t(nolt_float64_to_bits(value) >> 63); }
double nolt_make_float64(int32_t sign, int32_t exponent, uint64_t mantissa) {
    return nolt_bits_to_float64((uint64_t(sign & 1) << 63) | (uint64_t(exponent & 0x7FF) << 52) |
                                (mantissa & ((uint64_t(1) << 52) - 1)));
}

void nolt_srand(uint32_t seed) { srand(seed); }

}  // extern "C"
