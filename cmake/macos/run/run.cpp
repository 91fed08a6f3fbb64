// Runs the code of a liborv.1.dylib on Linux, with Linux's C library in the place of macOS's:
//
//     run LIBRARY DIRECTORY     DIRECTORY is an empty one for the files of the run
//
// It shows that what the cross compiler made works: initialiser and finaliser, identity by the
// bundle services, the store and its worker, the web-service client. It shows nothing about the
// system libraries of macOS.
#include "../../../tests/support/plain_server.hpp"
#include "image.hpp"
#include "stand_ins.hpp"

#include <orv/orv.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace {

bool failed = false;

template <class Type>
std::string shown(const Type& value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

template <class Found, class Expected>
void check(const char* what, const Found& found, const Expected& expected) {
    const bool same = shown(found) == shown(expected);
    std::printf("%s  %-22s %s\n", same ? "ok  " : "FAIL", what, shown(found).c_str());
    if (!same)
        std::printf("      %-22s %s\n", "  and not", shown(expected).c_str());
    failed = failed || !same;
}

const char key[] = "0123456789abcdef0123456789ABCDEF";

// The exported functions of one copy of the library.
struct library : image {
    explicit library(const char* path) : image(path, stand_ins::find) { initialise(); }
    ~library() { finalise(); }
    void finalise() const { stand_ins::finalise(base()); }

    decltype(ORV_open)* open = find<decltype(ORV_open)>("ORV_open");
    decltype(ORV_close)* close = find<decltype(ORV_close)>("ORV_close");
    decltype(ORVSC_SetInt)* set_int = find<decltype(ORVSC_SetInt)>("ORVSC_SetInt");
    decltype(ORVSC_GetInt)* get_int = find<decltype(ORVSC_GetInt)>("ORVSC_GetInt");
    decltype(ORVSC_SetString)* set_string = find<decltype(ORVSC_SetString)>("ORVSC_SetString");
    decltype(ORVSC_GetString)* get_string = find<decltype(ORVSC_GetString)>("ORVSC_GetString");

    std::string text(const char* section, const char* name) const {
        char buffer[64];
        int size = sizeof buffer - 1;
        return get_string(section, name, buffer, &size, "(not set)");
    }
};

void check_identity(const library& orv) {
    stand_ins::executable = "/A/B.app/Contents/MacOS/Tool.bin";
    orv.find<decltype(ORV_traceInit)>("ORV_traceInit")(nullptr, nullptr);
    check("trace path", orv.find<ORV_text>("ORV_TracePath")->text, "/A/B.app/Contents/MacOS/logs");
    check("trace name", orv.find<ORV_text>("ORV_TraceAppName")->text, "Tool");
    check("bundle objects left", stand_ins::bundle_objects, 0);
}

// In hexadecimal, the 16 bytes behind the first 112 of a file of 128.
std::string last_block(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    std::string hex;
    for (std::size_t i = 112; i < bytes.size(); ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, " %02x", static_cast<unsigned char>(bytes[i]));
        hex += hex.empty() ? digits + 1 : digits;
    }
    return hex;
}

void check_store(const library& orv, const std::string& file) {
    check("first open", orv.open(file.c_str(), key), ORV_OPEN_NEW);
    orv.set_string("user", "name", "Ada");
    orv.set_int("window", "width", 800);
    orv.close();
    // Of chained blocks, the last one depends on all.
    check("last block of the file", last_block(file),
          "a3 28 85 37 b9 e4 30 75 94 43 fa 9a 8d ef d3 5a");
    check("second open", orv.open(file.c_str(), key), ORV_OPEN_LOADED);
    check("string", orv.text("user", "name"), "Ada");
    check("integer", orv.get_int("WINDOW", "Width", 0), 800);
}

// The store of `orv` is open on `file`, and left to the finaliser.
void check_worker(const library& orv, const char* path, const std::string& file) {
    const library other(path);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100)); // times are in whole seconds
    other.open(file.c_str(), key);
    other.set_int("window", "width", 1024);
    other.close();
    for (int i = 0; i < 200 && orv.get_int("window", "width", 0) == 800; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    check("change by another", orv.get_int("window", "width", 0), 1024);
}

// A document or a text in the hands of the library.
template <class Type>
class object {
public:
    explicit object(const library& orv, const char* destructor)
        : destroy_(orv.find<void(void*)>(destructor)) {}
    object(const object&) = delete;
    object& operator=(const object&) = delete;
    ~object() { destroy_(memory_); }
    Type& operator*() { return *reinterpret_cast<Type*>(memory_); }

private:
    alignas(Type) char memory_[sizeof(Type)] = {};
    void (*destroy_)(void*);
};

struct document : object<xml::root> {
    document(const library& orv, const char* name) : object(orv, "_ZN3xml4itemD1Ev") {
        orv.find<void(void*, const char*)>("_ZN3xml4rootC1EPKc")(&**this, name);
    }
};

void check_transport(const library& orv) {
    auto* const request = orv.find<decltype(ORV::http::request)>(
        "_ZN3ORV4http7requestEPKcRN3xml4rootES5_S5_S5_R5str_tl");
    auto* const value = orv.find<xml::item*(xml::item*, const char*)>("_ZN3xml4itemixEPKc");
    document header(orv, "header"), body(orv, "ask"), reply_header(orv, "header"), reply(orv, "");
    object<str_t> reason(orv, "_ZN5str_tD1Ev");
    const support::plain_server server("<told><a>5</a></told>");
    const auto post = [&](long budget) {
        return request(server.url(), *header, *body, *reply_header, *reply, *reason, budget);
    };
    check("request", post(500), 1);
    check("its status", (*reason).c_str(), "200 OK");
    check("the reply's value", value(&*reply, "a")->value, "5");

    stand_ins::peer_hung_up = true; // whose signal would end this process
    check("server hangs up", post(20), 0);
    const std::string why = (*reason).c_str();
    const char expected[] = "Can't recv data from  server 127.0.0.1";
    check("the reason", why.substr(std::min(why.size(), why.find(expected)), sizeof expected - 1),
          expected);
}

void check_unload(const library& orv, const char* path, const std::string& file) {
    orv.set_string("user", "name", "Grace");
    const std::size_t nudges = stand_ins::signals_sent.size();
    orv.finalise();
    check("nudge to the worker", stand_ins::signals_sent.size() - nudges, 1);
    check("its signal", stand_ins::signals_sent.back(), 19); // SIGCONT there
    check("set after unloading", orv.text("user", "name"), "(not set)");
    const library next(path);
    next.open(file.c_str(), key);
    check("saved by unloading", next.text("user", "name"), "Grace");
    next.close();
}

} // namespace

int main(int, char** arguments) {
    try {
        const char* const path = arguments[1];
        const std::string file = std::string(arguments[2]) + "/settings";
        const library orv(path);
        check_identity(orv);
        check_transport(orv);
        check_store(orv, file);
        check_worker(orv, path, file);
        check_unload(orv, path, file);
    } catch (const std::exception& error) {
        std::printf("FAIL  %s\n", error.what());
        failed = true;
    }
    return failed ? 1 : 0;
}
