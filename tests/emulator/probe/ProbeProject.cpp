// ProbeProject.cpp: the probe's project on disk; see ProbeProject.h.
#include "ProbeProject.h"

#include "GdlPartXml.h"
#include "TestFiles.h"

namespace probeproject {

void Write(const std::string& folder) {
    using testfiles::WriteFileBytes;
    WriteFileBytes(folder + "/Library/A/Plain.xml",
                   testfiles::MonitoredPartXml("http://127.0.0.1:1/check?id=1&version=1"));
    WriteFileBytes(
        folder + "/Library/B/Arrays.xml",
        testfiles::GdlPartXml(
            {"<RealNum Name=\"grid\">\n"
             "<ArrayValues FirstDimension=\"3\" SecondDimension=\"2\">\n"
             "<AVal Row=\"1\" Column=\"1\">1</AVal><AVal Row=\"1\" Column=\"2\">2</AVal>\n"
             "<AVal Row=\"2\" Column=\"1\">3</AVal><AVal Row=\"2\" Column=\"2\">4</AVal>\n"
             "<AVal Row=\"3\" Column=\"1\">5</AVal><AVal Row=\"3\" Column=\"2\">6</AVal>\n"
             "</ArrayValues>\n"
             "</RealNum>",
             testfiles::GdlTextParameter("long", std::string(300, 'x'))}));
    WriteFileBytes(folder + "/project.json",
                   std::string(R"({"format": "orvhost-project/1", "library": "Library",
  "elements": [
    {"guid": ")") + kObject +
                       R"(", "type": 6, "part": "A/Plain.xml"},
    {"guid": ")" + kWindow +
                       R"(", "type": 4, "part": "B/Arrays.xml"},
    {"guid": ")" + kWall +
                       R"(", "type": 1}]})");
}

}  // namespace probeproject
