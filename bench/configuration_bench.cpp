// Read a configuration file and look up each of its variables. The peer is a widely used small
// reader of such files, feeding a std::map; its file holds the same names, values and comments
// with "=" between them, as its syntax wants.

#include <benchmark/benchmark.h>
#include <ini.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "bench/plain.h"
#include "zarnic/conf/read_configuration.h"

namespace {

// A file of `count` variables under /tmp, with a comment before every fifth, gone at the end.
class ConfigurationFile {
  public:
    ConfigurationFile(std::int64_t count, const char* separator) {
        char name[] = "/tmp/avmanager_bench_XXXXXX";
        const int descriptor = ::mkstemp(name);
        if (descriptor < 0) {
            plain::fail("mkstemp");
        }
        ::close(descriptor);
        path_ = name;
        std::ofstream out(path_);
        for (std::int64_t i = 0; i < count; ++i) {
            if (i % 5 == 0) {
                out << "# where the " << i << "th of the panel's folders is\n";
            }
            // Names in no order, as people write them.
            names_.push_back("VARIABLE_" + std::to_string(i * 7919 % 10007) + "_D");
            out << names_.back() << separator << "/usr/local/zrc/var/lib/folder" << i << "\n";
        }
        if (!out.flush()) {
            plain::fail("write");
        }
    }
    ConfigurationFile(const ConfigurationFile&) = delete;
    ConfigurationFile& operator=(const ConfigurationFile&) = delete;
    ~ConfigurationFile() { ::unlink(path_.c_str()); }

    const char* path() const { return path_.c_str(); }
    const std::vector<std::string>& names() const { return names_; }

  private:
    std::string path_;
    std::vector<std::string> names_;
};

void configurationOurs(benchmark::State& state) {
    const ConfigurationFile file(state.range(0), " ");
    for (auto _ : state) {
        auto* const table = static_cast<conf_table*>(std::calloc(1, sizeof(conf_table)));
        if (conf_read_file_r(file.path(), table) != 0) {
            plain::fail("conf_read_file_r");
        }
        for (const std::string& name : file.names()) {
            if (conf_get_r(name.c_str(), table) == nullptr) {
                plain::fail("conf_get_r");
            }
        }
        conf_free_r(table);
    }
}

using Variables = std::map<std::string, std::string>;

int store(void* user, const char* /*section*/, const char* name, const char* value) {
    (*static_cast<Variables*>(user))[name] = value;
    return 1;
}

void configurationInih(benchmark::State& state) {
    const ConfigurationFile file(state.range(0), " = ");
    for (auto _ : state) {
        Variables variables;
        if (::ini_parse(file.path(), store, &variables) != 0) {
            plain::fail("ini_parse");
        }
        for (const std::string& name : file.names()) {
            if (variables.find(name) == variables.end()) {
                plain::fail("find");
            }
        }
    }
}

void lines(benchmark::internal::Benchmark* bench) {
    for (const int count : {31, 100, 310, 1000, 3100}) {
        bench->Arg(count);
    }
}

BENCHMARK(configurationOurs)->Name("configuration/conf_read_file_r")->Apply(lines);
BENCHMARK(configurationInih)->Name("configuration/ini_parse")->Apply(lines);

}  // namespace
