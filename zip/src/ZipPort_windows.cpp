// ZipPort_windows.cpp: salts from CryptGenRandom; local time by localtime_s and _mkgmtime.
#include "ZipPort.h"

#include <windows.h>

#include <random>
#include <wincrypt.h>

namespace zipport {

void FillRandom(uint8_t* buffer, size_t length) {
    HCRYPTPROV provider = 0;
    if (::CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL,
                               CRYPT_VERIFYCONTEXT | CRYPT_SILENT) != FALSE) {
        const BOOL filled = ::CryptGenRandom(provider, static_cast<DWORD>(length), buffer);
        ::CryptReleaseContext(provider, 0);
        if (filled != FALSE) {
            return;
        }
    }
    // Without the system's source, the library's own generator still gives unpredictable bytes.
    std::random_device device;
    for (size_t i = 0; i < length; ++i) {
        buffer[i] = static_cast<uint8_t>(device());
    }
}

bool LocalTime(std::time_t time, std::tm& local) { return ::localtime_s(&local, &time) == 0; }

std::time_t TimeOfUtc(std::tm utc) { return ::_mkgmtime(&utc); }

}  // namespace zipport
