// orv-settings: shows or edits a settings file.
//
// It edits as a host does: load, set, save. But a host knows its own texts, and those given here
// can be anything. A setting is an element of an XML document, and a text that is not escaped can
// hide every setting after it. Therefore, before the file is touched, the changed document is
// rendered and read back in memory, and must contain what it contained before and the change, and
// nothing else.
#include "common.hpp"

#include <orv/orv.hpp>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

using tools::fail;

enum exit_code { not_set = 1, no_file = 3, not_whole = 4, bad_key = 5, not_saved = 6 };

const char help[] =
    R"(Usage: orv-settings [OPTION]... get FILE SECTION KEY
  or:  orv-settings [OPTION]... set FILE SECTION KEY VALUE
  or:  orv-settings [OPTION]... remove FILE SECTION KEY
  or:  orv-settings [OPTION]... list FILE
  or:  orv-settings [OPTION]... dump FILE

)" ORV_TOOL_PURPOSE R"(.

Commands:
  get     print the text of a setting
  set     set a setting and save the file; a host that has the file open picks
          up the change within about a second
  remove  delete a setting, or a section with everything in it, and save the
          file
  list    print a line for each setting: its path, " = ", its text
  dump    print the document as it is in the file

SECTION and KEY are paths: "net/proxy host" is "net proxy/host". Letter case
does not matter. One of the two may be empty. White space, "=" and ">" cannot
be part of a name.

"list" keeps each setting on one line: a line feed shows as \n, a carriage
return as \r, a TAB as \t, a backslash as \\ and any other control character in
hexadecimal, as \x1b. "get" prints the text as it is.

A text is kept in an XML document. Without --text it is kept as it is, so one
with markup in it, or with white space at its ends, may not read back: "set"
refuses it, and anything else that would lose a setting, and leaves the file
unchanged. With --text any text can be set and shown, as with the functions
ORVSC_SetText and ORVSC_GetText.

Options come before SECTION; what follows is taken literally.

Options:
  -k, --key-file=FILE   read the key text from the first line of FILE
  -e, --key-env=NAME    take the key text from the environment variable NAME;
                        ORV_SETTINGS_KEY if neither option is given
  -t, --text            escape the text that is set; decode texts that are shown
  -c, --create          with set: make the file if it is missing or empty
  -h, --help            print this text
  -V, --version         print the version

The key text must have at least 32 bytes, of which the first 32 count. It is
never given on the command line, where other users can see it.

Exit status:
  0  done
  1  get, remove: there is no such setting
  2  the command line is wrong
  3  there is no such file
  4  not all of the file can be read: wrong key, damaged, cut short, nested too
     deeply, or not a settings file; what can be read is printed anyway
  5  no key, or one shorter than 32 bytes
  6  set, remove: refused, or the file cannot be written; it is unchanged
     unless the message says otherwise
  7  the output cannot be written

Examples:
  $ export ORV_SETTINGS_KEY="a key text of 32 bytes or more..."
  $ orv-settings --create set app.settings window width 800
  $ orv-settings list app.settings
)";

struct command_line {
    std::string key_file;
    std::string key_variable = "ORV_SETTINGS_KEY";
    bool create = false;
    bool text = false;
    std::vector<std::string> words; // command, file and what follows
};

// A setting: the names on its path, with a "/" between them, and its text.
using setting = std::pair<std::string, std::string>;

command_line read_command_line(int argc, char** argv) {
    command_line given;
    const auto name_into = [](std::string& name, std::string& other) {
        return [&](const char* value) {
            if (!*value)
                fail(tools::usage_error, "the key's file or variable has no name");
            name = value;
            other.clear(); // the last option counts
        };
    };
    given.words =
        tools::read_options(argc, argv, help,
                            {{'k', "key-file", true, name_into(given.key_file, given.key_variable)},
                             {'e', "key-env", true, name_into(given.key_variable, given.key_file)},
                             {'t', "text", false, [&](const char*) { given.text = true; }},
                             {'c', "create", false, [&](const char*) { given.create = true; }}},
                            2);
    return given;
}

str_t read_key(const command_line& given) {
    const std::string source =
        given.key_file.empty() ? "the environment variable " + given.key_variable : given.key_file;
    std::string key;
    if (!given.key_file.empty())
        key = tools::read_first_line(given.key_file, bad_key);
    else if (const char* const value = std::getenv(given.key_variable.c_str()))
        key = value;
    else
        fail(bad_key, "no key: set " + source + ", or name a file with --key-file");
    key.resize(std::min(key.size(), key.find_first_of("\r\n")));
    if (key.size() < 32)
        fail(bad_key, "the key in " + source + " has " + std::to_string(key.size()) +
                          " bytes; it needs at least 32");
    return key.c_str();
}

enum class content { absent, empty, partly, whole };

// Reads the file. A file is empty for a tenth of a second while another process saves it, so this
// waits for content that is about to come.
content load(ORV::sconfig& settings, const std::string& path, const str_t& key) {
    settings.file = path.c_str();
    settings.cipherKey = key;
    struct stat before, after;
    for (int looks = 1;; ++looks) {
        if (stat(path.c_str(), &before) != 0) {
            if (errno == ENOENT)
                return content::absent;
            fail(not_whole, path + ": " + std::strerror(errno));
        }
        if (!S_ISREG(before.st_mode))
            fail(not_whole, path + " is not a regular file");
        const xml::buffer* const old = settings.doc.buffer;
        const bool whole = settings.readV();
        const bool deciphered = settings.doc.buffer != old; // something was loaded, complete or not
        if (whole)
            return content::whole;
        if (stat(path.c_str(), &after) != 0)
            after = before;
        const bool settled = after.st_size != 0 && before.st_size == after.st_size &&
                             before.st_mtime == after.st_mtime;
        if (looks < 2 || (!settled && looks < 25)) {
            usleep(20000);
            continue;
        }
        if (after.st_size == 0)
            return content::empty;
        if (deciphered)
            return content::partly;
        break;
    }
    tools::read_first_line(path, not_whole); // ends here if we may not read it
    if (after.st_size % 16 != 0)
        fail(not_whole, path + " is not a settings file, or was cut short");
    fail(not_whole,
         path + " cannot be deciphered: the key is wrong, or it is damaged or no settings file");
}

// Reads a file that is to be shown, as far as it can be read. Returns the exit status.
int load_to_show(ORV::sconfig& settings, const command_line& given) {
    const std::string& path = given.words[1];
    switch (load(settings, path, read_key(given))) {
    case content::absent:
        fail(no_file, path + ": " + std::strerror(ENOENT));
    case content::empty:
        fail(not_whole, path + " is empty");
    case content::partly:
        tools::warn(path + " is damaged or was cut short; this is what can be read of it");
        return not_whole;
    default:
        return tools::done;
    }
}

// The path of a setting. A name that the library would cut is refused, because "proxy host" and
// "proxy port" would be the same setting; and so is the marker of a whole file.
std::string path_of(const std::string& section, const std::string& key) {
    std::string path, rest = section + "/" + key + "/";
    for (unsigned long end; (end = rest.find('/')) != std::string::npos; rest.erase(0, end + 1)) {
        const std::string name = rest.substr(0, end);
        if (xml::root(name.c_str()).nameLength() != name.size())
            fail(tools::usage_error, "\"" + tools::on_one_line(name.c_str()) +
                                         "\" is no name: white space, \"=\" and \">\" end a name");
        if (!name.empty())
            path.append(path.empty() ? "" : "/").append(name);
    }
    if (path.empty())
        fail(tools::usage_error, "SECTION and KEY are both empty; at least one name is required");
    if (strncasecmp((path + "/").c_str(), "~ORV/", 5) == 0)
        fail(tools::usage_error, std::string(ORV::sconfig::marker) + " marks a whole file, and is "
                                                                     "not a setting");
    return path;
}

// Collects the settings at and below an element: the elements that have no others in them. A host
// nests a few levels; in a file that was made to have very many, the paths alone would take
// gigabytes.
class gathering {
public:
    std::vector<setting> found;

    void add(xml::item& element, const std::string& path = "", unsigned long depth = 0) {
        constexpr unsigned long most_levels = 1000, most_bytes = 256 << 20;
        bytes_ += path.size();
        if (depth > most_levels || bytes_ > most_bytes)
            fail(not_whole,
                 "the settings are nested too deeply to be shown; no host made this file");
        element.is_set(""); // a look-up parses the content
        const std::string text = element.value ? element.value : "";
        if (element.children.count == 0 && path != ORV::sconfig::marker &&
            !(path.empty() && text.empty()))
            found.emplace_back(path, text);
        for (unsigned long i = 0; i < element.children.count; ++i) {
            xml::item& child = element.children.items[i];
            const std::string name(child.name, child.nameLength());
            add(child, path.empty() ? name : std::string(path).append("/").append(name), depth + 1);
        }
    }

private:
    unsigned long bytes_ = 0; // of all paths
};

std::string without_capitals(std::string text) {
    for (char& c : text)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
}

// The settings that will be found in the document when it is loaded from a file, sorted. The
// document itself stays as it is, parsed or not.
std::vector<setting> read_back(const xml::root& document) {
    str_t text;
    document.saveF(text, 0);
    xml::root copy;
    copy.load(text.c_str(), text.length());
    gathering all;
    all.add(copy);
    std::vector<setting>& found = all.found;
    if (!copy.is_set(ORV::sconfig::marker)) // a text swallowed it: the file counts as cut
        found.emplace_back(ORV::sconfig::marker, "missing");
    for (setting& one : found)
        one.first = without_capitals(one.first);
    std::sort(found.begin(), found.end());
    return std::move(found);
}

bool is_below(const std::string& path, const std::string& other) {
    return other.empty() || path.compare(0, other.size() + 1, other + "/") == 0;
}

// Ends the tool unless the document reads back as expected; `changed` is the one setting that
// differs from before.
void check(const xml::root& document, std::vector<setting> expected, const setting& changed) {
    std::sort(expected.begin(), expected.end());
    const std::vector<setting> found = read_back(document);
    if (found == expected)
        return;
    std::vector<setting> lost;
    std::set_difference(expected.begin(), expected.end(), found.begin(), found.end(),
                        std::back_inserter(lost));
    for (const setting& one : lost) {
        if (is_below(one.first, changed.first) || is_below(changed.first, one.first))
            fail(not_saved, "nothing is changed, because this would remove \"" +
                                tools::on_one_line(one.first.c_str()) +
                                "\": no setting can be above or below another");
    }
    fail(not_saved, "nothing is changed, because \"" + tools::on_one_line(changed.first.c_str()) +
                        "\" or another setting would not read back as it is: markup in a text and "
                        "white space at its ends are not kept (set --text sets any text), nor are "
                        "two sections of one name");
}

// While it exists, keeps other runs of this tool from the files in a folder, so that of two changes
// at the same moment neither is lost.
class folder_lock {
public:
    explicit folder_lock(const std::string& file) {
        const std::unique_ptr<char, void (*)(void*)> real(realpath(file.c_str(), nullptr),
                                                          std::free);
        const std::string path = real ? real.get() : file;
        const auto slash = path.rfind('/');
        const std::string folder = slash == path.npos ? "." : path.substr(0, slash + 1);
        folder_ = open(folder.c_str(), O_RDONLY | O_CLOEXEC);
        if (folder_ == -1 && errno == EACCES)
            tools::warn("warning: " + folder +
                        " cannot be locked, because it may not be listed: of two "
                        "changes at the same moment one may be lost");
        if (folder_ == -1)
            return; // anything else is reported when the file is opened
        constexpr int tries = 6000;
        for (int i = 0; flock(folder_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK; ++i) {
            if (i == tries)
                fail(not_saved,
                     "nothing is changed: others have kept " + folder + " locked for a minute");
            usleep(10000);
        }
    }
    folder_lock(const folder_lock&) = delete;
    folder_lock& operator=(const folder_lock&) = delete;
    ~folder_lock() { close(folder_); }

private:
    int folder_;
};

// Saves the document. While the file is being written no signal ends the tool.
void save(ORV::sconfig& settings, const std::string& path, bool is_new) {
    const std::string before = is_new ? "" : tools::read_file(path, not_saved);
    sigset_t ends;
    sigemptyset(&ends);
    for (const int one : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        sigaddset(&ends, one);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    errno = 0;
    if (settings.writeV(sysconf(_SC_CLK_TCK)))
        return;
    const std::string why = std::string("cannot write ") + path + ": " +
                            (errno ? std::strerror(errno) : "no attempt succeeded within a second");
    struct stat left;
    if (is_new && lstat(path.c_str(), &left) == 0 && S_ISREG(left.st_mode) && left.st_size == 0)
        std::remove(path.c_str());
    if (!is_new && tools::read_file(path, not_saved) != before)
        fail(not_saved, why + "; its content could not be restored");
    fail(not_saved, why);
}

// Reads a file that is to be changed, and adds the marker if it is missing. Returns whether it is
// new.
bool load_to_change(ORV::sconfig& settings, const command_line& given, bool may_create) {
    const std::string& file = given.words[1];
    const content held = load(settings, file, read_key(given));
    const std::string hint = may_create ? "; --create makes it" : "";
    if (held == content::partly)
        fail(not_whole, file + " is damaged or was cut short, and saving would lose the rest: move "
                               "it away, and set in a new one what \"list\" can read of it");
    if (held == content::absent && !(may_create && given.create))
        fail(no_file, "there is no " + file + hint);
    if (held == content::empty && !(may_create && given.create))
        fail(not_whole,
             file + " is empty" + (may_create ? "; --create turns it into a settings file" : ""));
    bool created;
    settings.doc.get(nullptr, ORV::sconfig::marker, created);
    return held == content::absent;
}

// A text as the options ask for it.
std::string shown(const std::string& text, const command_line& given) {
    return given.text ? xml::unescape(text.c_str()).c_str() : text;
}

int get(const command_line& given) {
    const std::string &section = given.words[2], &key = given.words[3];
    const std::string path = path_of(section, key);
    ORV::sconfig settings;
    const int status = load_to_show(settings, given);
    const xml::item* const found = settings.doc.get(section.c_str(), key.c_str());
    if (!found)
        fail(status == tools::done ? not_set : status, path + " is not set");
    tools::print(shown(found->value ? found->value : "", given) + "\n");
    return status;
}

int set(const command_line& given) {
    const std::string& file = given.words[1];
    const std::string path = path_of(given.words[2], given.words[3]);
    const std::string text =
        given.text ? xml::escape(given.words[4].c_str()).c_str() : given.words[4];
    if (given.text && path.find_first_of("<\"'") != path.npos)
        fail(tools::usage_error, "with --text a name has no quote and no \"<\" in it");
    const folder_lock lock(file);
    ORV::sconfig settings;
    const bool is_new = load_to_change(settings, given, true);

    const setting added(without_capitals(path), text);
    std::vector<setting> expected = read_back(settings.doc);
    bool created;
    xml::item* const element = settings.doc.get(nullptr, path.c_str(), created);
    const std::string old_text = element->value ? element->value : "";
    if (!created && old_text == text)
        return tools::done;
    const auto old = std::find(expected.begin(), expected.end(), setting(added.first, old_text));
    if (old != expected.end())
        expected.erase(old);
    expected.push_back(added);
    element->setText(text.c_str());
    check(settings.doc, expected, added);
    save(settings, file, is_new);
    return tools::done;
}

int remove(const command_line& given) {
    const std::string& file = given.words[1];
    const std::string path = path_of(given.words[2], given.words[3]);
    const folder_lock lock(file);
    ORV::sconfig settings;
    load_to_change(settings, given, false);

    const setting removed(without_capitals(path), "");
    std::vector<setting> expected = read_back(settings.doc);
    if (!settings.doc.remove(path.c_str()))
        fail(not_set, path + " is not set");
    while (settings.doc.remove(path.c_str())) { // all of that name
    }
    const auto is_gone = [&](const setting& one) {
        return is_below(one.first + "/", removed.first);
    };
    expected.erase(std::remove_if(expected.begin(), expected.end(), is_gone), expected.end());
    // A section that has nothing left in it is an empty setting.
    const std::string parent = removed.first.substr(0, removed.first.rfind('/') + 1);
    const auto is_beside = [&](const setting& one) { return one.first.rfind(parent, 0) == 0; };
    if (!parent.empty() && std::none_of(expected.begin(), expected.end(), is_beside))
        expected.emplace_back(parent.substr(0, parent.size() - 1), "");
    check(settings.doc, expected, removed);
    save(settings, file, false);
    return tools::done;
}

int list(const command_line& given) {
    ORV::sconfig settings;
    const int status = load_to_show(settings, given);
    gathering all;
    all.add(settings.doc);
    std::string lines;
    for (const setting& one : all.found)
        lines += tools::on_one_line(one.first.c_str()) + " = " +
                 tools::on_one_line(shown(one.second, given).c_str()) + "\n";
    tools::print(lines);
    return status;
}

int dump(const command_line& given) {
    if (given.text)
        fail(tools::usage_error, "\"dump\" prints what is in the file; use --text with \"list\"");
    ORV::sconfig settings;
    const int status = load_to_show(settings, given);
    str_t text;
    settings.doc.saveF(text, 0);
    tools::print(text.c_str());
    return status;
}

} // namespace

int main(int argc, char** argv) {
    const command_line given = read_command_line(argc, argv);
    struct {
        const char* name;
        unsigned long words;
        int (*run)(const command_line&);
    } const commands[] = {{"get", 4, get},
                          {"set", 5, set},
                          {"remove", 4, remove},
                          {"list", 2, list},
                          {"dump", 2, dump}};
    for (const auto& command : commands) {
        if (given.words.empty() || given.words[0] != command.name)
            continue;
        if (given.words.size() != command.words)
            fail(tools::usage_error, "too few or too many arguments for " + given.words[0] +
                                         "; see orv-settings --help");
        if (given.words[1].empty())
            fail(tools::usage_error, "no file is named");
        return command.run(given);
    }
    fail(tools::usage_error, "a command is required: get, set, remove, list or dump; see --help");
}
