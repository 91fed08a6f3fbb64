// orv-post: posts an XML document to a web service and prints the document that comes back.
#include <orv/orv.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

enum exit_code {
    ok = 0,
    not_ok = 1,
    usage_error = 2,
    unusable_url = 3,
    no_document = 4,
};

const char help[] =
    R"(orv-post - post an XML document to a web service

SYNOPSIS
    orv-post [OPTION]... URL [FILE]

DESCRIPTION
    Posts the document in FILE, or on standard input if FILE is missing or "-", to URL over plain
    HTTP/1.1, and prints the document that comes back on standard output. Until a complete reply
    has come, the request is sent again and again within the time it is given.

    The document is sent as compact XML: its XML declaration and the white space around its tags
    are dropped, and attributes are put in the order of their names. Nothing is escaped or decoded.

    A URL without a port means port 80. There is no TLS: an "https" URL is posted to as plain HTTP.

OPTIONS
    --header 'NAME: VALUE'  Sends a header line; may be given several times, the last one of a name
                            counts. These lines are there in any case, unless they are given:
                            Accept, Cache-Control, Connection, Content-Type, Pragma, SOAPAction and
                            User-Agent. HOST and Content-Length cannot be changed.
    --action ACTION         Sends SOAPAction with ACTION in quotes.
    --seconds N             Gives the whole exchange N seconds, fractions allowed; 10 if not given.
    --show-headers          Prints the header lines of the request, marked with ">", and those of
                            the reply, marked with "<", on standard error. The reply's status line
                            shows as "Code" and "Status".
    --help                  Prints this text.
    --version               Prints the version.

EXIT STATUS
    0  a complete reply with status 200 has come
    1  a complete reply with another status has come (its document is printed all the same), or
       none in time; the reason is on standard error
    2  the command line is wrong
    3  the URL is unusable
    4  the document cannot be read, or has no element

EXAMPLES
    orv-post --action urn:add http://127.0.0.1:8080/calculator envelope.xml
    echo '<ping/>' | orv-post --seconds 2.5 --header 'X-Trace: 1' localhost:8080/ping
)";

struct options {
    xml::root header{"header"};
    double seconds = 10;
    bool show_headers = false;
    std::vector<std::string> words; // URL and file
};

[[noreturn]] void fail(exit_code code, const std::string& message) {
    std::fprintf(stderr, "orv-post: %s\n", message.c_str());
    std::exit(code);
}

void add_header(xml::root& header, const std::string& line) {
    const auto colon = line.find(':');
    const std::string name = line.substr(0, colon);
    if (colon == std::string::npos || name.empty() ||
        name.find_first_of("\t\r\n /=<>") != std::string::npos ||
        line.find_first_of("\r\n") != std::string::npos)
        fail(usage_error, "a header line is 'NAME: VALUE', not '" + line + "'");
    const auto value = line.find_first_not_of(' ', colon + 1);
    header[name.c_str()]->setText(value == std::string::npos ? "" : line.c_str() + value);
}

double read_seconds(const char* text) {
    char* end;
    const double seconds = std::strtod(text, &end);
    if (end == text || *end || !(seconds > 0 && seconds < 1e9))
        fail(usage_error, std::string("--seconds takes a number above 0, not '") + text + "'");
    return seconds;
}

options read_options(int argc, char** argv) {
    options given;
    int i = 1;
    for (; i < argc && std::strncmp(argv[i], "--", 2) == 0; ++i) {
        const std::string name = argv[i];
        if (name == "--help") {
            std::fputs(help, stdout);
            std::exit(ok);
        }
        if (name == "--version") {
            std::puts("orv-post " ORV_VERSION_STRING);
            std::exit(ok);
        }
        if (name == "--show-headers")
            given.show_headers = true;
        else if (name == "--header" && i + 1 < argc)
            add_header(given.header, argv[++i]);
        else if (name == "--action" && i + 1 < argc)
            add_header(given.header, "SOAPAction: \"" + std::string(argv[++i]) + "\"");
        else if (name == "--seconds" && i + 1 < argc)
            given.seconds = read_seconds(argv[++i]);
        else
            fail(usage_error, "unknown or incomplete option " + name + "; see --help");
    }
    given.words.assign(argv + i, argv + argc);
    if (given.words.empty() || given.words.size() > 2)
        fail(usage_error, "a URL and at most one file are wanted; see --help");
    return given;
}

std::string read_all(const std::string& path) {
    std::FILE* const file = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
    if (!file)
        fail(no_document, "cannot open " + path);
    std::string text;
    char chunk[65536];
    for (std::size_t count; (count = std::fread(chunk, 1, sizeof chunk, file)) > 0;)
        text.append(chunk, count);
    if (std::ferror(file))
        fail(no_document, "cannot read " + path);
    if (file != stdin)
        std::fclose(file);
    return text;
}

// Reads the document's own element, behind a declaration.
void load(xml::root& document, const std::string& path) {
    const std::string text = read_all(path);
    auto start = text.find('<');
    if (start != std::string::npos && text.compare(start, 2, "<?") == 0)
        start = text.find("?>", start);
    if (start != std::string::npos)
        document.load(text.data() + start, text.size() - start);
    if (!document.name || std::strchr("!/=> \t\r\n", *document.name))
        fail(no_document, "there is no element in " + (path == "-" ? "the input" : path));
}

// A declaration reads as an element that holds the rest of the document; it is left out.
void print(const xml::item& document) {
    if (document.name && std::strncmp(document.name, "?xml", 4) == 0) {
        std::puts(document.value ? document.value : "");
    } else if (document.name) {
        str_t text;
        document.save(text, 0);
        std::puts(text.c_str());
    }
}

// One line for each child.
void print_header(const char* mark, const xml::item& header) {
    for (unsigned long i = 0; i < header.children.count; ++i) {
        const xml::item& line = header.children.items[i];
        const std::string name(line.name, line.nameLength());
        std::fprintf(stderr, "%s %s: %s\n", mark, name.c_str(), line.value ? line.value : "");
    }
}

} // namespace

int main(int argc, char** argv) {
    options given = read_options(argc, argv);
    xml::root document, reply_header("header"), reply;
    load(document, given.words.size() > 1 ? given.words[1] : "-");

    str_t reason;
    // At least one tick, for none would mean not to try at all.
    const double ticks = std::ceil(given.seconds * static_cast<double>(sysconf(_SC_CLK_TCK)));
    const int result = ORV::http::request(given.words[0].c_str(), given.header, document,
                                          reply_header, reply, reason, static_cast<long>(ticks));
    if (result == -1)
        fail(unusable_url, "the URL is unusable");
    if (given.show_headers) {
        print_header(">", given.header);
        print_header("<", reply_header);
    }
    print(reply);
    if (result == 0)
        fail(not_ok, reason.c_str());
    return ok;
}
