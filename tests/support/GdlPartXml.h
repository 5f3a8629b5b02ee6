// GdlPartXml.h: GDL library parts in the XML form the emulator reads, built from their
// parameters, for the tests that put parts on disk or parse them.
#pragma once

#include <string>
#include <vector>

namespace testfiles {

// A library part: the XML declaration and <Symbol> with the attributes an exported part carries,
// then `sections` (what else a part may hold ahead of its parameters, such as its ancestry and
// scripts, which readers pass over), then the parameter section with `parameters` in order, each
// on a line of its own. A parameter is an element made below, or any XML a test needs there.
std::string GdlPartXml(const std::vector<std::string>& parameters,
                       const std::string& sections = "");

// One parameter element, `type` being its element name ("Length", "String", ...). `value` stands
// as it is inside <Value>, in a CDATA section when `cdata`. A non-empty `description` is quoted
// in a <Description>; `flags` (such as "<Fix/>") stand after it.
std::string GdlParameterXml(const std::string& type, const std::string& name,
                            const std::string& value, const std::string& description = "",
                            bool cdata = false, const std::string& flags = "");

// A String parameter: `text` quoted in CDATA, as exported parts hold texts.
std::string GdlTextParameter(const std::string& name, const std::string& text,
                             const std::string& description = "");

// A numeric parameter of `type` (RealNum, Integer, Length, Angle, Boolean, ...), `value` written
// as a stream writes a double (0.9, 2, 1e-07).
std::string GdlNumberParameter(const std::string& name, double value,
                               const std::string& type = "RealNum",
                               const std::string& description = "");

// A part that the add-on monitors: `check_url` and `uptodate` 0, nothing else.
std::string MonitoredPartXml(const std::string& checkUrl);

}  // namespace testfiles
