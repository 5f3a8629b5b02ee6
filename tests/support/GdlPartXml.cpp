// GdlPartXml.cpp: the library-part XML of GdlPartXml.h.
#include "GdlPartXml.h"

#include <sstream>

namespace testfiles {

std::string GdlPartXml(const std::vector<std::string>& parameters, const std::string& sections) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<Symbol IsArchivable=\"false\" IsPlaceable=\"true\" Version=\"43\">\n" +
                      sections +
                      "<ParamSection SectVersion=\"27\" SectionFlags=\"0\" SubIdent=\"0\">\n"
                      "<Parameters>\n";
    for (const std::string& parameter : parameters) {
        xml += parameter;
        if (!parameter.empty() && parameter.back() != '\n') {
            xml += '\n';
        }
    }
    return xml + "</Parameters>\n</ParamSection>\n</Symbol>\n";
}

std::string GdlParameterXml(const std::string& type, const std::string& name,
                            const std::string& value, const std::string& description, bool cdata,
                            const std::string& flags) {
    std::string xml = "<" + type + " Name=\"" + name + "\">\n";
    if (!description.empty()) {
        xml += "<Description><![CDATA[\"" + description + "\"]]></Description>\n";
    }
    if (!flags.empty()) {
        xml += flags + "\n";
    }
    xml += cdata ? "<Value><![CDATA[" + value + "]]></Value>\n" : "<Value>" + value + "</Value>\n";
    return xml + "</" + type + ">\n";
}

std::string GdlTextParameter(const std::string& name, const std::string& text,
                             const std::string& description) {
    return GdlParameterXml("String", name, "\"" + text + "\"", description, true);
}

std::string GdlNumberParameter(const std::string& name, double value, const std::string& type,
                               const std::string& description) {
    std::ostringstream text;
    text << value;
    return GdlParameterXml(type, name, text.str(), description);
}

std::string MonitoredPartXml(const std::string& checkUrl) {
    return GdlPartXml({GdlTextParameter("check_url", checkUrl), GdlNumberParameter("uptodate", 0)});
}

}  // namespace testfiles
