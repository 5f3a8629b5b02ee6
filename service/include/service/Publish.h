// Publish.h: orvservice publish, a library maker's release (or test version) of one object added
// to the catalog and its file to the files folder, once the file was judged as the add-on would
// take it; a release that would harm the maker's users is refused and nothing is changed.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace orvservice {

// The command line in UTF-8, the program first and "publish" second:
//   publish --catalog FILE --files DIR --id ID --version V [--test] [--library DIR [--force]] FILE
// What was done goes to `out`, a refusal to `err`. Gives the exit status: 0 published, 1 refused
// or failed (the catalog and the files folder as they were), 2 a usage error.
int RunPublish(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace orvservice
