// The long convergence run: convergence_run --publishes N --seed S
// Prints the figures and the first counterexample (seed, step, the differing members, the
// document). Exit status 0 when no publish failed.
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

#include "ConvergenceRun.h"
#include "dlog_host.h"

int main(int argc, char** argv)
{
    int iPublishes = 2000;
    unsigned long long ullSeed = 1;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--publishes") == 0) {
            iPublishes = std::atoi(argv[i + 1]);
        } else if (std::strcmp(argv[i], "--seed") == 0) {
            ullSeed = std::strtoull(argv[i + 1], nullptr, 10);
        } else {
            std::cerr << "usage: convergence_run [--publishes N] [--seed S]\n";
            return 2;
        }
    }
    // Refused documents make the library log errors by design; the figures tell the story.
    setenv("PELMO_LOG_LEVEL", "none", 0);
    dlog_host_reload_level();
    CConvergenceRun run(ullSeed);
    std::string sError;
    if (!run.Start(PELMO_SERVICE_PATH, sError)) {
        std::cerr << "cannot start the host store: " << sError << "\n";
        return 2;
    }
    while (run.Figures().iPublishes < iPublishes) {
        run.Step();
        if (run.Figures().iPublishes % 250 == 0 && run.Figures().iPublishes > 0) {
            std::cerr << "... " << run.Figures().iPublishes << " publishes\n";
        }
    }
    run.Stop();
    const PT_CONVERGENCE_FIGURES& figures = run.Figures();
    std::cout << "seed " << ullSeed << ": " << CConvergenceRun::Describe(figures) << "\n";
    if (!figures.sFirstCounterexample.empty()) std::cout << "first counterexample:\n" << figures.sFirstCounterexample;
    return figures.iFailures == 0 ? 0 : 1;
}
