// CommandFrame.cpp: the commands' answers to a usage error, to --help and to a failure; the
// message of the common runtime's exceptions as their own text gives it, code included.
#include "CommandFrame.h"

#include "common/CUtils.h"
#include "common/OVException.h"

namespace orvservice {

std::string MessageOf(const std::exception& failure) {
    if (const auto* exception = dynamic_cast<const OVThrowable*>(&failure)) {
        return CUtils::WstringToStringUTF8(exception->GetMessageText());
    }
    return failure.what();
}

int RunCommand(const CommandText& text, std::ostream& out, std::ostream& err,
               const std::function<bool()>& parse, const std::function<void()>& run) {
    try {
        if (parse()) {
            out << text.usage << "\n\n" << text.help << std::flush;
            return 0;
        }
    } catch (const UsageError& error) {
        err << "orvservice " << text.name << ": " << error.what() << "\n"
            << text.usage << std::endl;
        return 2;
    }
    try {
        run();
        out.flush();
        return 0;
    } catch (const std::exception& failure) {
        out.flush();
        err << "orvservice " << text.name << ": " << MessageOf(failure) << std::endl;
        return 1;
    }
}

}  // namespace orvservice
