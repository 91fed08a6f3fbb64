// Loading and saving a settings file, compared with libtomcrypt and pugixml doing the same with the
// same text. The pause in every save of ours is left out: here a save is assembled from its parts.
#include "samples.hpp"
#include "tomcrypt_cbc.hpp"

#include <orv/orv.hpp>

#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

struct sample {
    std::vector<samples::setting> settings; // in the order of look-up
    std::string ours;                       // path of the file
    std::string peers;                      // path of the same text in plain CBC
    std::string text;                       // the text itself
};

const sample& sample_for(benchmark::State& state) {
    static std::map<long, sample> made;
    sample& wanted = made[state.range(0)];
    if (!wanted.settings.empty())
        return wanted;
    const std::string name = std::to_string(state.range(0));
    const auto all = samples::settings(static_cast<unsigned long>(state.range(0)) / 20, 20);
    wanted.settings = samples::shuffled(all);
    wanted.ours = samples::settings_file(all, "ours" + name);
    wanted.peers = samples::file("peers" + name);
    wanted.text = samples::settings_text(all);
    std::string text = wanted.text;
    text.resize(tomcrypt::whole_blocks(text.size()), ' ');
    tomcrypt::cbc(samples::key_text).encrypt(text.data(), text.size());
    std::FILE* file = std::fopen(wanted.peers.c_str(), "wb");
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    return wanted;
}

// Looks up every key. Returns false if any lacks its value.
bool all_found(xml::item& document, const std::vector<samples::setting>& settings) {
    for (const samples::setting& each : settings) {
        const xml::item* found = document.get(each.section.c_str(), each.key.c_str());
        if (!found || each.value != found->value)
            return false;
    }
    return true;
}

bool all_found(pugi::xml_document& document, const std::vector<samples::setting>& settings) {
    const pugi::xml_node root = document.document_element();
    for (const samples::setting& each : settings) {
        if (each.value != root.child(each.section.c_str()).child_value(each.key.c_str()))
            return false;
    }
    return true;
}

bool read_ours(ORV::sconfig& config, const sample& from) {
    config.file = from.ours.c_str();
    config.cipherKey = samples::key_text;
    return config.readV();
}

void load_ours(benchmark::State& state) {
    const sample& from = sample_for(state);
    for (auto _ : state) {
        ORV::sconfig config;
        if (!read_ours(config, from) || !all_found(config.doc, from.settings))
            return state.SkipWithError("not what was saved");
    }
}

struct peers_document {
    std::unique_ptr<char[]> text;
    pugi::xml_document document;

    // Values are taken verbatim, as ours are, but for the trimming that `flags` may ask for.
    bool read(const std::string& path, unsigned flags) {
        std::FILE* file = std::fopen(path.c_str(), "rb");
        std::fseek(file, 0, SEEK_END);
        const auto size = static_cast<unsigned long>(std::ftell(file));
        std::rewind(file);
        text.reset(new char[size]);
        const bool whole = std::fread(text.get(), 1, size, file) == size;
        std::fclose(file);
        tomcrypt::cbc(samples::key_text).decrypt(text.get(), size);
        return whole && document.load_buffer_inplace(text.get(), size, pugi::parse_minimal | flags);
    }
};

void load_peers(benchmark::State& state) {
    const sample& from = sample_for(state);
    for (auto _ : state) {
        peers_document loaded;
        if (!loaded.read(from.peers, pugi::parse_trim_pcdata) ||
            !all_found(loaded.document, from.settings))
            return state.SkipWithError("not what was saved");
    }
}

void write_file(const char* path, const char* bytes, unsigned long count) {
    std::FILE* file = std::fopen(path, "w+b");
    std::fwrite(bytes, 1, count, file);
    std::fclose(file);
}

void save_ours(benchmark::State& state) {
    const sample& from = sample_for(state);
    ORV::sconfig config;
    if (!read_ours(config, from) || !all_found(config.doc, from.settings))
        return state.SkipWithError("not what was saved");
    const std::string path = samples::file("saved_by_us");
    unsigned char key[32];
    std::memcpy(key, samples::key_text, sizeof key);
    for (auto _ : state) {
        str_t text;
        config.doc.saveF(text, 0);
        bin_t plain("ORV", 3);
        plain.append(text.c_str(), text.length());
        const bin_t ciphertext = ORV::aes::encrypt(plain, key, 256);
        write_file(path.c_str(), ciphertext.data(), ciphertext.length());
    }
}

struct to_string : pugi::xml_writer {
    std::string text;
    void write(const void* bytes, std::size_t count) override {
        text.append(static_cast<const char*>(bytes), count);
    }
};

// White space around values is kept, so that the text is written as we write it.
void save_peers(benchmark::State& state) {
    const sample& from = sample_for(state);
    peers_document loaded;
    if (!loaded.read(from.peers, 0))
        return state.SkipWithError("not what was saved");
    const auto write = [&] {
        to_string out;
        loaded.document.save(
            out, " ", pugi::format_indent | pugi::format_no_declaration | pugi::format_no_escapes);
        return std::move(out.text);
    };
    if (write() != from.text)
        return state.SkipWithError("not the text that we write");
    const std::string path = samples::file("saved_by_peers");
    for (auto _ : state) {
        std::string text = write();
        text.resize(tomcrypt::whole_blocks(text.size()), ' ');
        tomcrypt::cbc(samples::key_text).encrypt(text.data(), text.size());
        write_file(path.c_str(), text.data(), text.size());
    }
}

void settings(benchmark::internal::Benchmark* bench) {
    bench->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(load_ours)->Name("load/ours")->Apply(settings);
BENCHMARK(load_peers)->Name("load/libtomcrypt+pugixml")->Apply(settings);
BENCHMARK(save_ours)->Name("save/ours")->Apply(settings);
BENCHMARK(save_peers)->Name("save/libtomcrypt+pugixml")->Apply(settings);

} // namespace
