// One step of one growth: does the work for a size, and prints the time it takes and the peak
// memory that the process needs for it. Each step runs in a process of its own;
// scripts/scale_report.py runs them all.
//
//     orv_scale load 1000
#include "samples.hpp"
#include "service.hpp"

#include <orv/orv.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <malloc.h>
#include <string>
#include <vector>

namespace {

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "orv_scale: %s\n", what);
    std::exit(1);
}

// A value, in KB, from what the system reports about this process.
long status(const std::string& wanted) {
    std::ifstream lines("/proc/self/status");
    std::string name;
    long value = 0;
    while (lines >> name) {
        if (name == wanted && lines >> value)
            return value;
    }
    fail("/proc/self/status does not tell the memory");
}

double now() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// Of this thread: waiting does not count, nor do other processes, such as a service it calls.
double processor_time() {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// The first run gives the memory, the median of several the time. Memory freed by the first run
// stays with the process for the others, so that only the first fetches it page by page.
void measure(const std::function<void()>& work) {
    malloc_trim(0);
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
    std::ofstream("/proc/self/clear_refs") << 5; // resets the peak
    const long before = status("VmRSS:");
    const double begin = now();
    std::vector<double> times;
    long memory = 0;
    while (times.size() < 5 || now() - begin < 0.5) {
        const double from = processor_time();
        work();
        const double took = processor_time() - from;
        if (times.empty())
            memory = status("VmHWM:") - before;
        times.push_back(took);
    }
    const auto median = times.begin() + static_cast<long>(times.size() / 2);
    std::nth_element(times.begin(), median, times.end());
    std::printf("{\"seconds\": %.9f, \"kilobytes\": %ld}\n", *median, memory);
}

std::vector<samples::setting> settings(unsigned long count, bool one_section) {
    return one_section ? samples::settings(1, count) : samples::settings((count + 9) / 10, 10);
}

void look_up_all(ORV::sconfig& config, const std::vector<samples::setting>& all) {
    for (const samples::setting& each : all) {
        if (!config.doc.get(each.section.c_str(), each.key.c_str()))
            fail("a setting is missing");
    }
}

void load(unsigned long count, bool one_section) {
    const auto all = settings(count, one_section);
    const std::string file = samples::settings_file(all, "scale");
    measure([&] {
        ORV::sconfig config;
        config.file = file.c_str();
        config.cipherKey = samples::key_text;
        if (!config.readV())
            fail("the file does not load");
        look_up_all(config, all);
    });
}

void save(unsigned long count) {
    const auto all = settings(count, false);
    ORV::sconfig config;
    config.file = samples::settings_file(all, "scale").c_str();
    config.cipherKey = samples::key_text;
    if (!config.readV())
        fail("the file does not load");
    look_up_all(config, all);
    measure([&] { // processor time excludes the pause
        if (!config.writeV(1000))
            fail("the file was not written");
    });
}

void set_new(unsigned long count) {
    const auto all = samples::shuffled(settings(count, false));
    measure([&] {
        ORV::sconfig config;
        for (const samples::setting& each : all)
            config.setInt(each.section.c_str(), each.key.c_str(), 12345);
    });
}

struct document {
    xml::root top;

    explicit document(const std::string& text) { top.load(text.data(), text.size()); }
};

void find(const std::string& text, const std::string& path) {
    measure([&] {
        document reply(text);
        if (!reply.top.get(path.c_str(), nullptr))
            fail("an element is missing");
    });
}

// Visits every element as a host would, parsing one level at a time.
unsigned long visit(xml::item& top) {
    unsigned long count = 0;
    std::vector<xml::item*> open{&top};
    while (!open.empty()) {
        xml::item* const at = open.back();
        open.pop_back();
        ++count;
        at->is_set(""); // reads the children
        for (unsigned long i = 0; i < at->children.count; ++i)
            open.push_back(at->children.items + i);
    }
    return count;
}

void visit_all(const std::string& text, unsigned long at_least) {
    measure([&] {
        document reply(text);
        if (visit(reply.top) < at_least)
            fail("an element is missing");
    });
}

// The memory shows what requests leave allocated.
void post(unsigned long count) {
    const service there(
        [] { return "<soap:Envelope>" + std::string(2000, 'r') + "</soap:Envelope>"; });
    xml::root envelope("soap:Envelope");
    envelope["soap:Body"]->setText(std::string(2000, 'q').c_str());
    measure([&] {
        for (unsigned long n = 0; n < count; ++n) {
            xml::root header, reply_header, reply;
            str_t error;
            if (ORV::http::request(there.url().c_str(), header, envelope, reply_header, reply,
                                   error, 1000) != 1)
                fail("a request failed");
        }
    });
}

struct growth {
    const char* name;
    void (*run)(unsigned long size);
};

const growth growths[] = {
    {"load", [](unsigned long n) { load(n, false); }},
    {"load_one_section", [](unsigned long n) { load(n, true); }},
    {"save", save},
    {"set_new", set_new},
    {"reply_find", [](unsigned long n) { find(samples::reply(n), samples::four_levels_down); }},
    {"reply_visit", [](unsigned long n) { visit_all(samples::reply(n), 4); }},
    {"nested_find",
     [](unsigned long n) { find(samples::nested(n, false), samples::path_to_bottom(n, false)); }},
    {"nested_find_same",
     [](unsigned long n) { find(samples::nested(n, true), samples::path_to_bottom(n, true)); }},
    {"nested_visit", [](unsigned long n) { visit_all(samples::nested(n, false), n); }},
    {"nested_visit_same", [](unsigned long n) { visit_all(samples::nested(n, true), n); }},
    {"requests", post},
};

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        fail("give a growth and a size");
    for (const growth& each : growths) {
        if (std::strcmp(each.name, arguments[1]) == 0) {
            each.run(std::strtoul(arguments[2], nullptr, 10));
            return 0;
        }
    }
    fail("no such growth");
}
