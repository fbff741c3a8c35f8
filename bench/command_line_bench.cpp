// The command line of a service start: split it, ask for eight options, refuse what nobody
// asked for. Each contestant ends with the same six values in strings.

#include <benchmark/benchmark.h>
#include <getopt.h>

#include <array>
#include <boost/program_options.hpp>
#include <string>

#include "bench/plain.h"
#include "zarnic/opt/parsing.h"

namespace {

const char* const commandLine[] = {"avmanager",
                                   "--start-service",
                                   "--kav-dir=/opt/kav/5.5/kav4mailservers",
                                   "--service=keepup2date",
                                   "--config-file=/etc/kav/5.5/kav4mailservers.conf",
                                   "--service-pidfile=/var/run/keepup2date.pid",
                                   "--no-daemon=1",
                                   "--file=/var/tmp/upload",
                                   "-h",
                                   nullptr};
constexpr int argumentCount = 9;

using Values = std::array<std::string, 6>;
constexpr std::array<const char*, 6> valueNames = {
    "kav-dir", "service", "config-file", "service-pidfile", "no-daemon", "file"};

void require(const Values& values) {
    if (values[0].size() != 28 || values[5] != "/var/tmp/upload") {
        plain::fail("other values");
    }
}

void parseTOParsing(benchmark::State& state) {
    using zarnic::opt::TOParsing;
    for (auto _ : state) {
        TOParsing parser(commandLine, argumentCount);
        Values values;
        parser.lopt("start-service", zarnic::opt::no_arg);
        for (std::size_t i = 0; i < values.size(); ++i) {
            parser.lopt(valueNames[i], zarnic::opt::req_arg) >> values[i];
        }
        parser.sopt('h');
        parser.check();
        require(values);
    }
}

constexpr std::array<option, 8> longOptions = {
    {{"start-service", no_argument, nullptr, 's'},
     {"kav-dir", required_argument, nullptr, 0},
     {"service", required_argument, nullptr, 1},
     {"config-file", required_argument, nullptr, 2},
     {"service-pidfile", required_argument, nullptr, 3},
     {"no-daemon", required_argument, nullptr, 4},
     {"file", required_argument, nullptr, 5},
     {nullptr, 0, nullptr, 0}}};

void parseGetopt(benchmark::State& state) {
    auto* const argv = const_cast<char* const*>(commandLine);
    for (auto _ : state) {
        Values values;
        bool named = false;
        bool help = false;
        optind = 0;  // from the beginning again
        for (int found; (found = ::getopt_long(argumentCount, argv, "h", longOptions.data(),
                                               nullptr)) >= 0;) {
            if (found == 's') {
                named = true;
            } else if (found == 'h') {
                help = true;
            } else if (found == '?') {
                plain::fail("an unknown option");
            } else {
                values[static_cast<std::size_t>(found)] = optarg;
            }
        }
        benchmark::DoNotOptimize(named && help);
        require(values);
    }
}

void parseBoost(benchmark::State& state) {
    namespace po = boost::program_options;
    for (auto _ : state) {
        Values values;
        po::options_description known;
        known.add_options()("start-service", "")("help,h", "");
        for (std::size_t i = 0; i < values.size(); ++i) {
            known.add_options()(valueNames[i], po::value<std::string>(&values[i]), "");
        }
        po::variables_map found;
        po::store(po::parse_command_line(argumentCount, commandLine, known), found);
        po::notify(found);
        benchmark::DoNotOptimize(found.count("start-service") + found.count("help"));
        require(values);
    }
}

BENCHMARK(parseTOParsing)->Name("command line/TOParsing")->Arg(8);
BENCHMARK(parseGetopt)->Name("command line/getopt_long")->Arg(8);
BENCHMARK(parseBoost)->Name("command line/Boost.Program_options")->Arg(8);

}  // namespace
