#include "Work.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <utility>
#include <vector>

// The instruction counter collects inside this function only, so its name is known to the report.
extern "C" __attribute__((noinline, used)) void BenchMeasured(bench::Job* job) {
    job->Run();
}

namespace bench {
namespace {

struct Work {
    std::string name;
    JobMaker make;
    int threads;
};

std::vector<Work>& AllWork() {
    static std::vector<Work> work;
    return work;
}

void Time(benchmark::State& state, const JobMaker& make) {
    using Clock = std::chrono::steady_clock;
    const std::unique_ptr<Job> job = make();
    for (auto turn : state) {
        (void)turn;
        const auto begin = Clock::now();
        job->Run();
        const auto end = Clock::now();
        state.SetIterationTime(std::chrono::duration<double>(end - begin).count());
        job->Between();
    }
}

int TimeAll(int argc, char** argv) {
    for (const Work& work : AllWork()) {
        benchmark::RegisterBenchmark(work.name.c_str(), [&work](benchmark::State& state) { Time(state, work.make); })
            ->UseManualTime()
            ->Threads(work.threads);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return EXIT_FAILURE;
    }
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}

int List() {
    for (const Work& work : AllWork()) {
        if (work.threads == 1) {
            std::printf("%s\n", work.name.c_str());
        }
    }
    return EXIT_SUCCESS;
}

// What happens once, as the resolving of library functions and the growth of tables, is over after the first turns.
constexpr int kWarmUps = 3;

int Count(const std::string& name, int runs) {
    for (const Work& work : AllWork()) {
        if (work.name != name) {
            continue;
        }
        const std::unique_ptr<Job> job = work.make();
        for (int i = 0; i < kWarmUps; ++i) {
            job->Run();
            job->Between();
        }
        for (int i = 0; i < runs; ++i) {
            BenchMeasured(job.get());
            job->Between();
        }
        return EXIT_SUCCESS;
    }
    Fail("no work has the name " + name);
}

int Main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        return List();
    }
    if (argc == 4 && std::strcmp(argv[1], "--count") == 0) {
        return Count(argv[2], std::atoi(argv[3]));
    }
    return TimeAll(argc, argv);
}

}  // namespace

bool AddWork(const std::string& name, JobMaker make, int threads) {
    AllWork().push_back({name, std::move(make), threads});
    return true;
}

void Fail(const std::string& message) {
    std::fprintf(stderr, "%s\n", message.c_str());
    std::exit(EXIT_FAILURE);
}

}  // namespace bench

//   PROGRAM --list               names of the work that can be counted
//   PROGRAM --count NAME RUNS    runs one piece of work that often inside BenchMeasured
//   PROGRAM [options]            times all of it; the options are Google Benchmark's
int main(int argc, char** argv) {
    try {
        return bench::Main(argc, argv);
    } catch (const std::exception& exception) {
        bench::Fail(exception.what());
    }
}
