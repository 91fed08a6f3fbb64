// Calls a SOAP service and shows all there is to see of a call: the request's header lines, the
// reply, and the three results a call can have.
//
//     orv-soap-client URL    where orv-soap-service listens, as in http://127.0.0.1:8080
//
// Exits with 0 if every call went as it should.
#include <orv/orv.hpp>

#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

// Everything a call takes and gives.
struct soap_call {
    xml::root header{"header"}, envelope{"soap:Envelope"};
    xml::root reply_header{"header"}, reply;
    str_t reason;

    int post(const std::string& url, double seconds) {
        const double ticks = seconds * static_cast<double>(sysconf(_SC_CLK_TCK));
        return ORV::http::request(url.c_str(), header, envelope, reply_header, reply, reason,
                                  static_cast<long>(ticks));
    }
};

// A document as text, with a line for each element.
std::string indented(const xml::item& document) {
    str_t text;
    document.saveF(text, 1);
    return text.c_str();
}

// The children of a document, each on its line.
std::string lines(const xml::item& document) {
    str_t text;
    for (unsigned long i = 0; i < document.children.count; ++i) {
        text << " ";
        document.children.items[i].save(text, 0);
        text << "\n";
    }
    return text.c_str();
}

// The element at a path below the body of a reply. A reply that opens with an XML declaration is a
// document "?xml" with the envelope in it, so that a path from the top begins with "soap:Envelope";
// without one the document is the envelope itself, and a path begins with "soap:Body". Searching
// for the body finds it in both; a member called on null returns null.
const xml::item* in_body(soap_call& call, const char* path) {
    return call.reply.search("soap:Body")->get(path, nullptr);
}

std::string document_name(const xml::item& document) {
    return std::string(document.name ? document.name : "", document.nameLength());
}

void ask_for_sum(soap_call& call) {
    // The prefix is part of the name; attributes are in a list of their own.
    bool created;
    call.envelope.attributes.set("xmlns:soap", "http://schemas.xmlsoap.org/soap/envelope/",
                                 created);
    call.envelope["soap:Body/add/a"]->setText("2");
    call.envelope["soap:Body/add/b"]->setText("3");
    call.header["SOAPAction"]->setText("\"urn:add\"");
}

bool show_sum(const std::string& url) {
    soap_call call;
    ask_for_sum(call);
    const int result = call.post(url + "/calculator", 5);
    std::printf("The request's header lines:\n%s\nThe envelope:\n%s\n", lines(call.header).c_str(),
                indented(call.envelope).c_str());

    // Content is parsed when it is asked for, one level at a time.
    const xml::item* sum = in_body(call, "addResponse/sum");
    std::printf(
        "The reply's status and header lines:\n%s\nThe reply's body, a document \"%s\":\n%s\n",
        lines(call.reply_header).c_str(), document_name(call.reply).c_str(),
        indented(call.reply).c_str());
    std::printf("2 and 3 make %s: result %d, \"%s\"\n", sum ? sum->value : "nothing", result,
                call.reason.c_str());
    return result == 1 && sum && std::string(sum->value) == "5";
}

bool show_fault(const std::string& url) {
    soap_call call;
    const int result = call.post(url + "/fault", 5);
    const xml::item* text = in_body(call, "soap:Fault/faultstring");
    std::printf(
        "A service that fails: result %d, \"%s\", and in the body of a document \"%s\": %s\n",
        result, call.reason.c_str(), document_name(call.reply).c_str(),
        text ? text->value : "nothing");
    return result == 0 && text;
}

bool show_absence() {
    soap_call call;
    const int result = call.post("http://127.0.0.1:1/", 0.5);
    std::printf("A server that is not there, tried for half a second: result %d and this:\n\n%s\n",
                result, call.reason.c_str());
    return result == 0;
}

bool show_no_url() {
    soap_call call;
    const int result = call.post("", 5);
    const xml::item* error = call.reply_header.get("error", nullptr);
    std::printf("No URL: result %d, \"%s\"\n", result, error ? error->value : "");
    return result == -1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: orv-soap-client URL, where orv-soap-service listens\n", stderr);
        return 2;
    }
    const bool sum = show_sum(argv[1]), fault = show_fault(argv[1]);
    const bool absence = show_absence(), no_url = show_no_url();
    return sum && fault && absence && no_url ? 0 : 1;
}
