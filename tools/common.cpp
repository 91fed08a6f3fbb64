#include "common.hpp"

#include <orv/orv.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>

namespace tools {

namespace {

bool is_control(char c) { return static_cast<unsigned char>(c) < ' ' || c == 127; }

} // namespace

std::vector<std::string> read_options(int argc, char** argv, const char* help,
                                      const std::vector<option>& options, unsigned long last) {
    std::vector<option> all = options;
    all.push_back({'h', "help", false, [&](const char*) {
                       print(help);
                       std::exit(done);
                   }});
    all.push_back({'V', "version", false, [](const char*) {
                       print(ORV_TOOL " " ORV_VERSION_STRING "\n");
                       std::exit(done);
                   }});

    std::string letters = "+"; // stop at each word
    std::vector<::option> names;
    for (const option& one : all) {
        letters.append(1, one.letter).append(one.has_value ? ":" : "");
        names.push_back({one.name, one.has_value ? required_argument : no_argument, nullptr,
                         static_cast<unsigned char>(one.letter)});
    }
    names.push_back({nullptr, 0, nullptr, 0});

    char name[] = ORV_TOOL;
    argv[0] = name; // for the messages of getopt_long
    std::vector<std::string> words;
    while (words.size() <= last) {
        const int found = getopt_long(argc, argv, letters.c_str(), names.data(), nullptr);
        if (found == '?')
            fail(usage_error, "see " ORV_TOOL " --help");
        if (found != -1) {
            for (const option& one : all) {
                if (one.letter == found)
                    one.take(one.has_value ? optarg : nullptr);
            }
        } else if (optind == argc || std::strcmp(argv[optind - 1], "--") == 0) {
            break;
        } else {
            words.emplace_back(argv[optind++]);
        }
    }
    words.insert(words.end(), argv + optind, argv + argc);
    return words;
}

void fail(int code, const std::string& message) {
    warn(message);
    std::exit(code);
}

void warn(const std::string& message) {
    std::fprintf(stderr, "%s: %s\n", ORV_TOOL, message.c_str());
}

std::string read_file(const std::string& path, int code) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (!file)
        fail(code, path + ": " + std::strerror(errno));
    std::string text = read_all(file, path, code);
    std::fclose(file);
    return text;
}

std::string read_all(std::FILE* file, const std::string& name, int code) {
    std::string text;
    char chunk[65536];
    for (unsigned long count; (count = std::fread(chunk, 1, sizeof chunk, file)) > 0;)
        text.append(chunk, count);
    if (std::ferror(file))
        fail(code, name + ": " + std::strerror(errno));
    return text;
}

std::string read_first_line(const std::string& path, int code) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    char line[4096] = "";
    if (!file || (!std::fgets(line, sizeof line, file) && std::ferror(file)))
        fail(code, path + ": " + std::strerror(errno));
    std::fclose(file);
    return line;
}

void print(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        fail(not_printed, std::string("cannot write to standard output: ") + std::strerror(errno));
}

std::string on_one_line(const char* text) {
    std::string line;
    for (; *text; ++text) {
        char code[8];
        std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(*text));
        line += *text == '\n'       ? "\\n"
                : *text == '\r'     ? "\\r"
                : *text == '\t'     ? "\\t"
                : *text == '\\'     ? "\\\\"
                : is_control(*text) ? code
                                    : std::string(1, *text);
    }
    return line;
}

bool has_control(const std::string& text) {
    for (const char c : text) {
        if (is_control(c))
            return true;
    }
    return false;
}

} // namespace tools
