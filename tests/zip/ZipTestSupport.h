// ZipTestSupport.h: helpers shared by the ZIP library's tests: archives that other tools made once,
// python3's zipfile module, damaged inputs, failures kept in a child process, and the shared test
// helpers (a temporary folder, shell commands, whole-file reads and writes, wide text) under this
// namespace.
#pragma once

#include "TestFiles.h"
#include "common/OVException.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>

namespace ziptest {

using testfiles::FilesBelow;
using testfiles::kLinuxTools;
using testfiles::ListNames;
using testfiles::Narrow;
using testfiles::Quote;
using testfiles::ReadFileBytes;
using testfiles::RunCommand;
using testfiles::TempFolder;
using testfiles::Wide;
using testfiles::WriteFileBytes;

// The bytes of the archive `name` in the fixtures folder (fixtures/README.md says what made it).
std::string Fixture(const std::string& name);
// A copy of that archive in `folder`, under its own name, and its path: what a test opens may be
// rewritten or patched, the fixture never.
std::string CopyFixture(const std::string& name, const TempFolder& folder);

// Runs a python3 program (ORV_PYTHON3) whose text is `script`; `archive` is its argument,
// readable as `sys.argv[1]` and as the variable `path`, with `zipfile` already imported.
// True when it exits with status 0; `output` receives what it printed.
bool RunPython(const std::string& script, const std::string& archive,
               std::string* output = nullptr);

// What damaged inputs came to: taken (`body` ran through) or refused with an OVException. Any
// other exception fails the test, naming the input by `what`: only OVException may leave the
// library.
struct DamageTally {
    template <typename Body> void Run(const std::string& what, Body body) {
        try {
            body();
            ++taken;
        } catch (const OVException&) {
            ++refused;
        } catch (const std::exception& e) {
            ADD_FAILURE() << what << ": not an OVException: " << e.what();
        } catch (...) {
            ADD_FAILURE() << what << ": not an OVException";
        }
    }

    int taken = 0;
    int refused = 0;
};

#ifndef _WIN32
// Runs `body` in a forked child and gives the report it returned, or what went wrong with it:
// for failures that must stay out of the other tests (a system call filter, a file size limit).
std::string InChild(const std::function<std::string()>& body);
// Makes every rename of this process fail with EPERM; false where the system has no filters.
bool ForbidRenames();
#endif

}  // namespace ziptest
