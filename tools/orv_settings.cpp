// orv-settings: shows or edits a settings file.
#include <orv/orv.hpp>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

enum exit_code {
    done = 0,
    not_set = 1,
    usage_error = 2,
    no_file = 3,
    unreadable = 4,
    bad_key = 5,
    not_written = 6,
};

const char help[] =
    R"(orv-settings - show or edit a settings file

SYNOPSIS
    orv-settings [OPTION]... get FILE SECTION KEY
    orv-settings [OPTION]... set FILE SECTION KEY VALUE
    orv-settings [OPTION]... list FILE
    orv-settings [OPTION]... dump FILE

COMMANDS
    get     Prints the text of a setting.
    set     Sets a setting and saves the file. A host that has the file open takes the change over
            within about a second.
    list    Prints a line for each setting: its path, " = ", its text.
    dump    Prints the document as it is kept in the file.

    SECTION and KEY are paths: "net/proxy host" is "net proxy/host". Letter case does not matter.
    An empty SECTION stands for the top of the document.

OPTIONS
    --key-file FILE   Reads the key text from the first line of FILE.
    --key-env NAME    Takes the key text from the environment variable NAME. Without either option
                      that is ORV_SETTINGS_KEY. A key is never given on the command line, where
                      other users can see it.
    --create          With set: makes the file if there is none.
    --help            Prints this text.
    --version         Prints the version.

EXIT STATUS
    0  done
    1  get: there is no such setting
    2  the command line is wrong
    3  there is no such file
    4  the file is there but cannot be read: wrong key, damaged, incomplete, or not a settings file
    5  no key, or one shorter than 32 bytes
    6  the setting was not saved, or does not read back as it was set

EXAMPLE
    export ORV_SETTINGS_KEY="a key text of 32 bytes or more..."
    orv-settings --create set app.settings window width 800
    orv-settings list app.settings
)";

struct options {
    std::string key_file;
    std::string key_variable = "ORV_SETTINGS_KEY";
    bool create = false;
    std::vector<std::string> words; // command, file and what follows
};

[[noreturn]] void fail(exit_code code, const std::string& message) {
    std::fprintf(stderr, "orv-settings: %s\n", message.c_str());
    std::exit(code);
}

options read_options(int argc, char** argv) {
    options given;
    int i = 1;
    for (; i < argc && std::strncmp(argv[i], "--", 2) == 0; ++i) {
        const std::string name = argv[i];
        if (name == "--help") {
            std::fputs(help, stdout);
            std::exit(done);
        }
        if (name == "--version") {
            std::puts("orv-settings " ORV_VERSION_STRING);
            std::exit(done);
        }
        if (name == "--create")
            given.create = true;
        else if (name == "--key-file" && i + 1 < argc)
            given.key_file = argv[++i];
        else if (name == "--key-env" && i + 1 < argc)
            given.key_variable = argv[++i];
        else
            fail(usage_error, "unknown or incomplete option " + name + "; see --help");
    }
    given.words.assign(argv + i, argv + argc);
    return given;
}

str_t read_key(const options& given) {
    str_t key;
    std::string source = "the environment variable " + given.key_variable;
    if (!given.key_file.empty()) {
        source = given.key_file;
        ORV::xfile file;
        if (!file.open(given.key_file.c_str(), "rb") || !file.read(key))
            fail(bad_key, "cannot read a key from " + source);
    } else {
        key = std::getenv(given.key_variable.c_str());
        if (key.empty())
            fail(bad_key, "no key: set " + source + ", or name a file with --key-file");
    }
    if (key.length() < 32)
        fail(bad_key, "the key in " + source + " has " + std::to_string(key.length()) +
                          " bytes; it takes 32 at least");
    return key;
}

// Loads the file, or ends with what is wrong with it.
void load(ORV::sconfig& settings, const std::string& path, const str_t& key) {
    struct stat found;
    if (stat(path.c_str(), &found) != 0)
        fail(no_file, path + ": " + std::strerror(errno));
    if (S_ISDIR(found.st_mode))
        fail(unreadable, path + " is a directory");
    if (found.st_size == 0)
        fail(unreadable, path + " is empty");

    settings.file = path.c_str();
    settings.cipherKey = key;
    settings.changed = true; // cleared by a load
    const bool whole = settings.readV();
    const bool deciphered = !settings.changed;
    settings.changed = false;
    if (whole)
        return;
    if (std::FILE* readable = std::fopen(path.c_str(), "rb"))
        std::fclose(readable);
    else
        fail(unreadable, path + ": " + std::strerror(errno));
    if (deciphered)
        fail(unreadable, path + " is incomplete: it is being written, or was cut short");
    if (found.st_size % 16 != 0)
        fail(unreadable, path + " is not a settings file, or was cut short");
    fail(unreadable, path + " does not decipher: the key is wrong, or it is not a settings file");
}

int get(const options& given) {
    ORV::sconfig settings;
    load(settings, given.words[1], read_key(given));
    const xml::item* setting = settings.doc.get(given.words[2].c_str(), given.words[3].c_str());
    if (!setting)
        fail(not_set, given.words[2] + "/" + given.words[3] + " is not set");
    std::puts(setting->value ? setting->value : "");
    return done;
}

int set(const options& given) {
    const std::string &path = given.words[1], &section = given.words[2], &name = given.words[3],
                      &value = given.words[4];
    const str_t key = read_key(given);
    struct stat found;
    const bool is_new = stat(path.c_str(), &found) != 0 && errno == ENOENT;
    if (!is_new || !given.create) { // never write over what could not be read
        ORV::sconfig before;
        load(before, path, key);
    }
    ORV_open(path.c_str(), key.c_str());
    ORVSC_SetString(section.c_str(), name.c_str(), value.c_str());
    ORV_close();

    ORV::sconfig after;
    after.file = path.c_str();
    after.cipherKey = key;
    if (!after.readV())
        fail(not_written, path + " could not be written");
    const xml::item* setting = after.doc.get(section.c_str(), name.c_str());
    const std::string read_back = setting && setting->value ? setting->value : "";
    if (read_back != value)
        fail(not_written, "the value reads back as \"" + read_back +
                              "\": values are raw text, without markup, and without white space at "
                              "their ends");
    return done;
}

// Content is parsed when somebody looks for a child; this looks at every level.
void parse_all(xml::item& element) {
    element.is_set("");
    for (unsigned long i = 0; i < element.children.count; ++i)
        parse_all(element.children.items[i]);
}

// One line for each element without children.
void list_below(const xml::item& element, const std::string& path) {
    if (element.children.count == 0 && path != ORV::sconfig::marker)
        std::printf("%s = %s\n", path.c_str(), element.value ? element.value : "");
    for (unsigned long i = 0; i < element.children.count; ++i) {
        const xml::item& child = element.children.items[i];
        const std::string name(child.name, child.nameLength());
        list_below(child, path.empty() ? name : std::string(path).append("/").append(name));
    }
}

int list(const options& given) {
    ORV::sconfig settings;
    load(settings, given.words[1], read_key(given));
    parse_all(settings.doc);
    list_below(settings.doc, "");
    return done;
}

int dump(const options& given) {
    ORV::sconfig settings;
    load(settings, given.words[1], read_key(given));
    str_t text;
    parse_all(settings.doc);
    settings.doc.saveF(text, 0);
    std::fputs(text.c_str(), stdout);
    return done;
}

} // namespace

int main(int argc, char** argv) {
    const options given = read_options(argc, argv);
    struct {
        const char* name;
        unsigned long words;
        int (*run)(const options&);
    } const commands[] = {{"get", 4, get}, {"set", 5, set}, {"list", 2, list}, {"dump", 2, dump}};
    for (const auto& command : commands) {
        if (!given.words.empty() && given.words[0] == command.name &&
            given.words.size() == command.words)
            return command.run(given);
    }
    fail(usage_error, "unknown command, or too few or too many words; see --help");
}
