// Posts the same document again and again to a server on loopback and measures what stays: the
// blocks that `stream<0>` keeps by contract, and nothing else. Prints a series as CSV (requests,
// resident KB, KB of live allocations) and the figures per request on the error output; fails if
// there are more live blocks than the five streams of a request keep, or if resident memory grows
// faster than these blocks.
//
//     requests_stress [REQUESTS] [BYTES OF BODY] > series.csv
#include "../support/allocations.hpp"
#include "../support/plain_server.hpp"
#include "footprint.hpp"

#include <orv/orv.hpp>

namespace {

// Scheme, host, path, message, and the body.
constexpr long streams_of_a_request = 5;

} // namespace

int main(int argc, char** argv) {
    const long requests = argc > 1 ? std::atol(argv[1]) : 20000;
    const unsigned long body_size = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 2048;
    support::plain_server server("<soap:Envelope><soap:Body>" + std::string(body_size, 'r') +
                                 "</soap:Body></soap:Envelope>");
    xml::root body("soap:Envelope");
    body["soap:Body"]->setText(std::string(body_size, 'q').c_str());

    const auto post = [&] {
        xml::root header, reply_header, reply;
        str_t error;
        return ORV::http::request(server.url(), header, body, reply_header, reply, error, 1000);
    };
    const long warm = requests / 20 + 1;
    for (long i = 0; i < warm; ++i)
        post();
    std::puts("requests,resident_kb,live_kb");
    const support::live_memory first = support::live();
    const long first_resident = stress::footprint::now().resident;
    for (long i = 1; i <= requests; ++i) {
        if (post() != 1) {
            std::fprintf(stderr, "request %ld failed\n", i);
            return 1;
        }
        if (i % (requests / 100 + 1) == 0 || i == requests)
            std::printf("%ld,%ld,%ld\n", i, stress::footprint::now().resident - first_resident,
                        (support::live().bytes - first.bytes) / 1024);
    }
    const long resident = stress::footprint::now().resident - first_resident;
    const support::live_memory last = support::live();
    const double count = static_cast<double>(requests);
    const double blocks = static_cast<double>(last.blocks - first.blocks) / count;
    const double bytes = static_cast<double>(last.bytes - first.bytes) / count;
    const double grown = static_cast<double>(resident) * 1024 / count;
    std::fprintf(stderr,
                 "%ld requests of %lu bytes of body and a reply of the same: per request %.2f "
                 "blocks of %.0f bytes in all stay, resident memory grows by %.0f bytes\n",
                 requests, body_size, blocks, bytes, grown);
    constexpr double with_allocator = 1.25; // its headers, and the gaps it leaves between blocks
    const bool kept =
        last.blocks - first.blocks <= streams_of_a_request * requests &&
        (!stress::memory_counts || grown <= bytes * with_allocator + 512.0 * 1024 / count);
    std::fputs(kept ? "no other growth\n" : "FAILED\n", stderr);
    return kept ? 0 : 1;
}
