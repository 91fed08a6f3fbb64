// The program behind scripts/bench: all rows but the exchanges, ours and the peers', in one
// process.
//
// A benchmark is called row/side or row/side/size; scripts/bench_report.py puts the sides of a row
// next to each other.
#include <benchmark/benchmark.h>

#include <curl/curlver.h>
#include <glib.h>
#include <gmp.h>
#include <libxml/xmlversion.h>
#include <malloc.h>
#include <openssl/crypto.h>
#include <pugixml.hpp>
#include <sqlite3.h>
#include <tomcrypt.h>

#include <string>

namespace {

std::string peers() {
    return "GLib " + std::to_string(GLIB_MAJOR_VERSION) + "." + std::to_string(GLIB_MINOR_VERSION) +
           ", GMP " + gmp_version +
           ", libcurl " LIBCURL_VERSION ", libtomcrypt " SCRYPT ", libxml2 " LIBXML_DOTTED_VERSION
           ", " +
           OpenSSL_version(OPENSSL_VERSION) + ", pugixml " +
           std::to_string(PUGIXML_VERSION / 1000) + "." +
           std::to_string(PUGIXML_VERSION / 10 % 100) + ", SQLite " + sqlite3_libversion();
}

} // namespace

int main(int count, char** arguments) {
    // Freed memory stays with the process. Otherwise some iterations would return pages to the
    // system and fetch them again, depending on what was measured before.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);

    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments))
        return 1;
    benchmark::AddCustomContext("peers", peers());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
