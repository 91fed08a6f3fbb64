// orv-post: posts an XML document to a web service and prints the document that comes back.
#include "common.hpp"

#include <orv/orv.hpp>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <unistd.h>

namespace {

using tools::fail;

enum exit_code { not_ok = 1, unusable_url = 3, no_document = 4 };

const char help[] =
    R"(Usage: orv-post [OPTION]... URL [FILE]

)" ORV_TOOL_PURPOSE R"(.

The document in FILE, or on standard input if FILE is missing or "-", is sent to
URL over plain HTTP/1.1, and the document that comes back is printed. The
request is repeated until a complete reply has come or the time is up.

The document is sent as it is, neither escaped nor decoded, except for its
outermost element: white space around its content is dropped, and its attributes
are put in the order of their names and in double quotes. Whatever comes before
that element (a declaration, comments) or after it is left out.

A URL without a port means port 80. There is no TLS: an "https" URL is posted to
as plain HTTP. A URL cannot contain white space or control characters: write
%20 for a space, and so on.

Of a reply that does not announce its length (no Content-Length, or chunked)
only what came at once is printed; a warning says so if its status is 200.

Options:
  -H, --header='NAME: VALUE'  send a header line; can be given several times,
                              and the last one of a name counts. These lines
                              have defaults: Accept, Cache-Control, Connection,
                              Content-Type, Pragma, SOAPAction and User-Agent.
                              HOST and Content-Length cannot be changed.
  -a, --action=ACTION         send SOAPAction with ACTION in quotes
  -s, --seconds=N             give the whole exchange N seconds, which may
                              have a fraction; the default is 10
  -v, --show-headers          print the header lines of the request, marked with
                              ">", and those of the reply, marked with "<", on
                              standard error; the reply's status line is shown
                              as "Code" and "Status"
  -h, --help                  print this text
  -V, --version               print the version

Exit status:
  0  a complete reply with status 200 has come
  1  a complete reply with another status has come (its document is printed,
     too), or none in time; the reason is on standard error
  2  the command line is wrong
  3  the URL is unusable
  4  the document cannot be read, or has no element
  7  the output cannot be written

Examples:
  $ orv-post --action=urn:add http://127.0.0.1:8080/calculator envelope.xml
  $ echo '<ping/>' | orv-post -s 2.5 -H 'X-Trace: 1' localhost:8080/ping
)";

struct command_line {
    xml::root header{"header"};
    double seconds = 10;
    bool show_headers = false;
    std::vector<std::string> words; // URL and file
};

void add_header(xml::root& header, const std::string& line) {
    const auto colon = line.find(':');
    const std::string name = line.substr(0, colon);
    if (colon == std::string::npos || name.empty() ||
        name.find_first_of("\t /=<>") != std::string::npos || tools::has_control(line))
        fail(tools::usage_error,
             "a header line is 'NAME: VALUE', not '" + tools::on_one_line(line.c_str()) + "'");
    const auto value = line.find_first_not_of(' ', colon + 1);
    header[name.c_str()]->setText(value == std::string::npos ? "" : line.c_str() + value);
}

double read_seconds(const char* text) {
    char* end;
    const double seconds = std::strtod(text, &end);
    if (end == text || *end || !(seconds > 0 && seconds < 1e9))
        fail(tools::usage_error,
             std::string("--seconds takes a number above 0 and below 1e9, not '") + text + "'");
    return seconds;
}

void read_command_line(command_line& given, int argc, char** argv) {
    given.words = tools::read_options(
        argc, argv, help,
        {{'H', "header", true, [&](const char* line) { add_header(given.header, line); }},
         {'a', "action", true,
          [&](const char* action) {
              add_header(given.header, std::string("SOAPAction: \"") + action + "\"");
          }},
         {'s', "seconds", true, [&](const char* text) { given.seconds = read_seconds(text); }},
         {'v', "show-headers", false, [&](const char*) { given.show_headers = true; }}},
        ULONG_MAX);
    if (given.words.empty() || given.words.size() > 2)
        fail(tools::usage_error, "a URL and at most one file are expected; see orv-post --help");
    const std::string& url = given.words[0];
    if (url.empty() || url.find(' ') != std::string::npos || tools::has_control(url))
        fail(unusable_url, "unusable URL '" + tools::on_one_line(url.c_str()) +
                               "': it is empty, or has white space or control characters in it");
}

// Reads the document's own element, after a declaration and comments.
void load(xml::root& document, const std::string& path) {
    const bool piped = path == "-";
    const std::string name = piped ? "standard input" : path;
    const std::string text =
        piped ? tools::read_all(stdin, name, no_document) : tools::read_file(path, no_document);
    auto start = text.find('<');
    const auto step_over = [&](const char* opening, const char* end) {
        if (start == std::string::npos || text.compare(start, std::strlen(opening), opening) != 0)
            return false;
        start = text.find(end, start + std::strlen(opening));
        start = text.find('<', start);
        return true;
    };
    while (step_over("<?", "?>") || step_over("<!--", "-->")) {
    }
    if (start != std::string::npos)
        document.load(text.data() + start, text.size() - start);
    if (!document.name || std::strchr("!/=> \t\r\n", *document.name))
        fail(no_document, "there is no element in " + name);
}

// A declaration reads as an element that contains the rest of the document; it is left out.
void print(const xml::item& document) {
    if (!document.name)
        return;
    str_t text;
    if (std::strncmp(document.name, "?xml", 4) == 0)
        text = document.value;
    else
        document.save(text, 0);
    tools::print(std::string(text.c_str()) + "\n");
}

// One line for each child.
void print_header(const char* mark, const xml::item& header) {
    for (unsigned long i = 0; i < header.children.count; ++i) {
        const xml::item& line = header.children.items[i];
        const std::string name(line.name, line.nameLength());
        std::fprintf(stderr, "%s %s: %s\n", mark, tools::on_one_line(name.c_str()).c_str(),
                     tools::on_one_line(line.value ? line.value : "").c_str());
    }
}

// A reply of unannounced length counts as complete with what came along with the end of its header.
void warn_if_unannounced(xml::root& reply_header) {
    const xml::item* const coding = reply_header.get("Transfer-Encoding", nullptr);
    if (coding && coding->value && strcasestr(coding->value, "chunked"))
        tools::warn("warning: the reply is chunked, which is not decoded: it is printed with "
                    "its chunk sizes in it, and most of it may be missing");
    else if (!reply_header.is_set("Content-Length"))
        tools::warn("warning: the reply does not announce its length: most of it may be missing");
}

} // namespace

int main(int argc, char** argv) {
    command_line given;
    read_command_line(given, argc, argv);
    xml::root document, reply_header("header"), reply;
    load(document, given.words.size() > 1 ? given.words[1] : "-");

    str_t reason;
    // At least one tick, because with none there would be no attempt at all.
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
        fail(not_ok, reply_header.is_set("Status") ? tools::on_one_line(reason.c_str())
                                                   : std::string(reason.c_str()));
    warn_if_unannounced(reply_header);
    return tools::done;
}
