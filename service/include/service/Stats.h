// Stats.h: orvservice stats, the version checks in the service's access log counted per object
// and version over a period, so that a library maker sees which versions are in use.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace orvservice {

// The command line in UTF-8, the program first and "stats" second:
//   stats LOG [--from YYYY-MM-DD] [--to YYYY-MM-DD] [--json]
// LOG is in the Combined Log Format. The table (or with --json the JSON) goes to `out`, a
// complaint to `err`. Gives the exit status: 0 done, 1 LOG cannot be read, 2 a usage error.
int RunStats(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace orvservice
