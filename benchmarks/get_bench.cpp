// Getting a value that exists: a text of 5 characters, with the keys in random order. The store is
// queried through the exported C function, and each peer in the way its users query it.
#include "samples.hpp"

#include <orv/orv.h>

#include <benchmark/benchmark.h>
#include <glib.h>
#include <sqlite3.h>

#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace {

constexpr unsigned long keys_each = 20;

// The settings to get, in turn.
class questions {
public:
    explicit questions(const benchmark::State& state) {
        const auto sections = static_cast<unsigned long>(state.range(0));
        all_ = &known(sections);
    }
    const std::vector<samples::setting>& all() const { return *all_; }
    const samples::setting& next() {
        if (at_ == all_->size())
            at_ = 0;
        return (*all_)[at_++];
    }

private:
    static const std::vector<samples::setting>& known(unsigned long sections) {
        static std::map<unsigned long, std::vector<samples::setting>> made;
        std::vector<samples::setting>& all = made[sections];
        if (all.empty())
            all = samples::shuffled(samples::settings(sections, keys_each));
        return all;
    }

    const std::vector<samples::setting>* all_;
    unsigned long at_ = 0;
};

// Opens the store on a file of that many sections.
bool open_store(long sections) {
    static std::map<long, std::string> files;
    std::string& file = files[sections];
    if (file.empty()) {
        const auto all = samples::settings(static_cast<unsigned long>(sections), keys_each);
        file = samples::settings_file(all, "get" + std::to_string(sections));
    }
    return ORV_open(file.c_str(), samples::key_text) == ORV_OPEN_LOADED;
}

void get_ours(benchmark::State& state) {
    questions ask(state);
    if (!open_store(state.range(0)))
        return state.SkipWithError("the store does not open");
    char text[16];
    for (const samples::setting& each : ask.all()) { // what is parsed lazily is parsed now
        int size = sizeof text - 1;
        ORVSC_GetString(each.section.c_str(), each.key.c_str(), text, &size, "");
        if (each.value != text)
            return state.SkipWithError("a wrong value");
    }
    for (auto _ : state) {
        const samples::setting& wanted = ask.next();
        int size = sizeof text - 1;
        ORVSC_GetString(wanted.section.c_str(), wanted.key.c_str(), text, &size, "");
        benchmark::DoNotOptimize(text);
    }
    ORV_close();
}

void get_gkeyfile(benchmark::State& state) {
    questions ask(state);
    const std::unique_ptr<GKeyFile, void (*)(GKeyFile*)> file(g_key_file_new(), g_key_file_free);
    for (const samples::setting& each : ask.all())
        g_key_file_set_string(file.get(), each.section.c_str(), each.key.c_str(),
                              each.value.c_str());
    for (auto _ : state) {
        const samples::setting& wanted = ask.next();
        char* text =
            g_key_file_get_string(file.get(), wanted.section.c_str(), wanted.key.c_str(), nullptr);
        benchmark::DoNotOptimize(text);
        g_free(text);
    }
}

void get_sqlite(benchmark::State& state) {
    questions ask(state);
    sqlite3* opened = nullptr;
    sqlite3_open(":memory:", &opened);
    const std::unique_ptr<sqlite3, int (*)(sqlite3*)> database(opened, sqlite3_close);
    sqlite3_exec(opened,
                 "create table settings (section text, key text, value text,"
                 " primary key (section, key)) without rowid",
                 nullptr, nullptr, nullptr);
    const auto prepare = [&](const char* text) {
        sqlite3_stmt* made = nullptr;
        sqlite3_prepare_v2(opened, text, -1, &made, nullptr);
        return std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>(made, sqlite3_finalize);
    };
    const auto bind = [](sqlite3_stmt* to, int at, const std::string& text) {
        sqlite3_bind_text(to, at, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    };
    sqlite3_exec(opened, "begin", nullptr, nullptr, nullptr);
    const auto insert = prepare("insert into settings values (?, ?, ?)");
    for (const samples::setting& each : ask.all()) {
        bind(insert.get(), 1, each.section);
        bind(insert.get(), 2, each.key);
        bind(insert.get(), 3, each.value);
        sqlite3_step(insert.get());
        sqlite3_reset(insert.get());
    }
    sqlite3_exec(opened, "commit", nullptr, nullptr, nullptr);

    const auto select = prepare("select value from settings where section = ? and key = ?");
    char text[16];
    for (auto _ : state) {
        const samples::setting& wanted = ask.next();
        bind(select.get(), 1, wanted.section);
        bind(select.get(), 2, wanted.key);
        if (sqlite3_step(select.get()) != SQLITE_ROW)
            return state.SkipWithError("no such row");
        const auto length = static_cast<unsigned long>(sqlite3_column_bytes(select.get(), 0));
        std::memcpy(text, sqlite3_column_text(select.get(), 0), length + 1);
        benchmark::DoNotOptimize(text);
        sqlite3_reset(select.get());
    }
}

void get_unordered_map(benchmark::State& state) {
    questions ask(state);
    std::mutex mutex;
    std::unordered_map<std::string_view, std::unordered_map<std::string_view, std::string>> map;
    for (const samples::setting& each : ask.all())
        map[each.section][each.key] = each.value;
    char text[16];
    for (auto _ : state) {
        const samples::setting& wanted = ask.next();
        const std::lock_guard<std::mutex> guard(mutex);
        const auto section = map.find(wanted.section.c_str());
        if (section == map.end())
            return state.SkipWithError("no such section");
        const auto value = section->second.find(wanted.key.c_str());
        if (value == section->second.end())
            return state.SkipWithError("no such key");
        std::memcpy(text, value->second.c_str(), value->second.size() + 1);
        benchmark::DoNotOptimize(text);
    }
}

void sections(benchmark::internal::Benchmark* bench) { bench->Arg(10)->Arg(50)->Arg(1000); }

BENCHMARK(get_ours)->Name("get/ours")->Apply(sections);
BENCHMARK(get_gkeyfile)->Name("get/GKeyFile")->Apply(sections);
BENCHMARK(get_sqlite)->Name("get/SQLite")->Apply(sections);
BENCHMARK(get_unordered_map)->Name("get/unordered_map")->Apply(sections);

} // namespace
