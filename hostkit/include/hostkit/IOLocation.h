// IOLocation.h: IO::Location and IO::Name, the host's file locations.
#pragma once

#include "hostkit/UniString.h"

namespace IO {

// One step of a path.
class Name {
public:
    Name() = default;
    explicit Name(const GS::UniString& text) : text(text) {}
    const GS::UniString& ToString() const { return text; }

private:
    GS::UniString text;
};

// A path; "/" and "\" both separate its steps, "/" is written.
class Location {
public:
    Location() = default;
    explicit Location(const GS::UniString& path) : path(path) {}

    // Adds one step, with a separator unless the path is empty or already ends in one.
    void AppendToLocal(const Name& step);
    void ToPath(GS::UniString* result) const { *result = path; }
    GS::UniString ToPath() const { return path; }

private:
    GS::UniString path;
};

}  // namespace IO
