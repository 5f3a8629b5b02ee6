// CommandFrame.h: what the orvservice commands besides serving share around their work: the
// command line misunderstood (the usage, exit status 2), --help (exit 0), a failure (its message
// after the command's name, exit 1), so that every command answers alike.
#pragma once

#include <exception>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvservice {

// A command line the command does not understand; the message says what is wrong.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct CommandText {
    const char* name;   // "publish"
    const char* usage;  // "usage: orvservice publish ..."
    const char* help;   // what --help adds below the usage
};

// The text of `failure`; for the common runtime's exceptions their own, code included.
std::string MessageOf(const std::exception& failure);

// Runs `parse`, which throws UsageError and gives true when help was asked for, then `run`,
// whose exception is the command's failure. Gives the exit status.
int RunCommand(const CommandText& text, std::ostream& out, std::ostream& err,
               const std::function<bool()>& parse, const std::function<void()>& run);

// The same for a command whose `parse` gives its options, with `help` among them, and whose
// `run` takes them.
template <typename Options>
int RunCommand(const CommandText& text, const std::vector<std::string>& args, std::ostream& out,
               std::ostream& err, Options (*parse)(const std::vector<std::string>&),
               void (*run)(const Options&, std::ostream&, std::ostream&)) {
    Options options;
    return RunCommand(
        text, out, err,
        [&] {
            options = parse(args);
            return options.help;
        },
        [&] { run(options, out, err); });
}

}  // namespace orvservice
