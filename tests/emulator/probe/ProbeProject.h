// ProbeProject.h: the project that the probe module expects, for the tests that load it in-process
// and through orvhost.
#pragma once

#include <string>

namespace probeproject {

inline const char* const kObject = "0B1F2F0A-1C1D-4E5F-8A9B-0C1D2E3F4A51";
inline const char* const kWindow = "0B1F2F0A-1C1D-4E5F-8A9B-0C1D2E3F4A52";
inline const char* const kWall = "0B1F2F0A-1C1D-4E5F-8A9B-0C1D2E3F4A53";

// Writes into `folder` (UTF-8) project.json and its library: part 1 "A/Plain.xml" (check_url,
// uptodate), part 2 "B/Arrays.xml" (a 3 by 2 RealNum array "grid", a String "long" of 300
// characters), an object on part 1, a window on part 2 and a wall.
void Write(const std::string& folder);

}  // namespace probeproject
