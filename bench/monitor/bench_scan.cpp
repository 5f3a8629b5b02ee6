// bench_scan.cpp: the monitor's scan timed inside the emulator, in-process: the add-on module is
// loaded and started as orvhost does it, then
//   the open event (every record stale: one request per monitored part),
//   the timer's write into the elements (the whole command),
//   the library event with index 0 (a rescan within four hours: no requests)
// are each timed. Prints "stale_scan S", "write S", "fresh_rescan S" in seconds.
//
//   bench_scan PROJECT ADDON
#include "emulator/AddOnModule.h"
#include "emulator/HostSession.h"
#include "emulator/Project.h"
#include "presentation/Backends.h"
#include "winsys/MainLoop.h"

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace {

template <typename Step> double Seconds(Step&& step) {
    const auto start = std::chrono::steady_clock::now();
    step();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: bench_scan PROJECT ADDON\n", stderr);
        return 2;
    }
    try {
        std::vector<std::string> warnings;
        orvhost::Project project = orvhost::Project::Load(argv[1], warnings);
        orvhost::HostSession session(project);
        // A virtual clock: the one-second timer costs no waiting, the network stays real.
        winsys::MainLoop& loop = winsys::MainLoop::Instance();
        loop.SetBackend(presentation::MakeScriptBackend({}, nullptr));
        orvhost::AddOnModule module(argv[2]);
        module.Start(session.Table(), session.Token());

        const double stale =
            Seconds([&] { session.FireProjectEvent(ProjectEvent::OpenProject, 0); });
        const double write = Seconds([&] { loop.Run(); });
        const double fresh =
            Seconds([&] { session.FireProjectEvent(ProjectEvent::LibraryChanged, 0); });
        session.FireProjectEvent(ProjectEvent::CloseProject, 0);
        module.Stop();
        std::printf("stale_scan %.6f\nwrite %.6f\nfresh_rescan %.6f\n", stale, write, fresh);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_scan: %s\n", error.what());
        return 1;
    }
    return 0;
}
