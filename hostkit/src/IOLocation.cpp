// IOLocation.cpp: IO::Location, a path that grows one step at a time.
#include "hostkit/IOLocation.h"

namespace IO {

void Location::AppendToLocal(const Name& step) {
    const USize length = path.GetLength();
    if (length > 0) {
        const GS::UniChar last = path[length - 1];
        if (last != u'/' && last != u'\\') {
            path.Append(u'/');
        }
    }
    path.Append(step.ToString());
}

}  // namespace IO
