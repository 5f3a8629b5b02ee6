// ZipPort_linux.cpp: salts from /dev/urandom; local time by localtime_r and timegm.
#include "ZipPort.h"

#include <fstream>
#include <random>

namespace zipport {

void FillRandom(uint8_t* buffer, size_t length) {
    std::ifstream random("/dev/urandom", std::ios::binary);
    if (random.read(reinterpret_cast<char*>(buffer), static_cast<std::streamsize>(length))) {
        return;
    }
    // Without the system's source, the library's own generator still gives unpredictable bytes.
    std::random_device device;
    for (size_t i = 0; i < length; ++i) {
        buffer[i] = static_cast<uint8_t>(device());
    }
}

bool LocalTime(std::time_t time, std::tm& local) { return ::localtime_r(&time, &local) != nullptr; }

std::time_t TimeOfUtc(std::tm utc) { return ::timegm(&utc); }

}  // namespace zipport
