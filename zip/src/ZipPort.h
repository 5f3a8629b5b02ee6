// ZipPort.h: the ZIP library's platform calls: unpredictable bytes for the salts of the members
// it encrypts, and the conversions between system time and the local calendar time that DOS
// stamps keep.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace zipport {

// Fills `buffer` from the system's source of random bytes (/dev/urandom on Linux, CryptGenRandom
// on Windows); without it, from std::random_device.
void FillRandom(uint8_t* buffer, size_t length);
// The local calendar time of `time`; false when the system cannot tell it.
bool LocalTime(std::time_t time, std::tm& local);
// The time whose UTC calendar time is `utc` (the inverse of gmtime).
std::time_t TimeOfUtc(std::tm utc);

}  // namespace zipport
