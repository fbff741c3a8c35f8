#include "tests/failures/calls/process.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

bool isOrDescends(const std::string& name, const std::string& ancestor) {
    return name == ancestor || name.starts_with(ancestor + ".");
}

bool hits(const Fault& fault, const Process& process) {
    if (fault.call == "memory") {
        return usesMemory(process) && isOrDescends(process.name, fault.process) &&
               process.made.at("memory") >= fault.k;
    }
    return fault.call == process.callName && fault.process == process.name &&
           fault.k == process.made.at(process.callName);
}

}  // namespace

bool usesMemory(const Process& process) {
    return process.callName == "mmap" || process.callName == "brk";
}

void choose(Process& process, const std::vector<Fault>& faults, pid_t mayBeSignalled) {
    process.skipped = process.callName == "sleep";
    process.replaced = process.skipped;
    process.chosen = false;
    process.result = 0;
    if (process.callName == "kill" &&
        static_cast<pid_t>(process.call.arguments[0]) != mayBeSignalled) {
        process.skipped = process.replaced = true;
        process.result = -ESRCH;
    }
    for (const Fault& fault : faults) {
        if (hits(fault, process)) {
            process.skipped = process.callName != "close";
            process.replaced = process.chosen = true;
            process.result = process.callName == "brk" ? process.memoryEnd : -fault.error;
        }
    }
}

Fault parseFault(const std::string& text) {
    const std::size_t call = text.find(':');
    const std::size_t k = text.find(':', call + 1);
    const std::size_t error = text.find(':', k + 1);
    if (error == std::string::npos) {
        std::fprintf(stderr, "fail_call: not PROCESS:CALL:K:ERROR: %s\n", text.c_str());
        std::exit(125);
    }
    return {text.substr(0, call), text.substr(call + 1, k - call - 1),
            std::atoi(text.c_str() + k + 1), std::atoi(text.c_str() + error + 1)};
}
