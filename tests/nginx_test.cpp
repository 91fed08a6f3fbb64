// The web-service client against a server that others wrote.
#include <orv/http/http.hpp>

#include "support/loopback.hpp"
#include "support/temporary_directory.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const std::string big_value(1 << 20, 'x');

std::string program() {
    const char* const path = std::getenv("PATH");
    for (std::string rest = std::string(path ? path : "") + ":/usr/sbin:/usr/local/sbin:";
         !rest.empty(); rest.erase(0, rest.find(':') + 1)) {
        const std::string candidate = rest.substr(0, rest.find(':')) + "/nginx";
        if (access(candidate.c_str(), X_OK) == 0)
            return candidate;
    }
    return "";
}

// An nginx of our own, with everything it writes in a temporary directory.
class nginx {
public:
    nginx() {
        close(support::bind_loopback(port_)); // a port that is free now
        write_file(file("big.xml"), "<big>" + big_value + "</big>");
        write_file(file("nginx.conf"), configuration());
        process_ = fork();
        if (process_ == 0) {
            const int log = open(file("log").c_str(), O_CREAT | O_WRONLY, 0600);
            dup2(log, STDOUT_FILENO);
            dup2(log, STDERR_FILENO);
            execl(program().c_str(), "nginx", "-p", file("").c_str(), "-c", "nginx.conf", "-e",
                  "stderr", nullptr);
            _exit(1);
        }
    }
    ~nginx() {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }

    std::string url(const char* path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }
    std::string file(const char* name) const { return directory_.file(name); }

private:
    std::string configuration() const {
        return "daemon off; master_process off; pid pid; error_log stderr; events {}\n"
               "http {\n"
               "  access_log off; default_type text/xml; client_max_body_size 1m;\n"
               "  client_body_temp_path t1; proxy_temp_path t2; fastcgi_temp_path t3;\n"
               "  uwsgi_temp_path t4; scgi_temp_path t5;\n"
               "  server {\n"
               "    listen 127.0.0.1:" +
               std::to_string(port_) + "; root " + file("") +
               ";\n"
               "    location /ok { return 200 '<a soap=$http_soapaction><b>$content_length</b></a>"
               "'; }\n"
               "    location /fault { return 500 '<soap:Fault/>'; }\n"
               "    location /big.xml { error_page 405 =200 /big.xml; }\n" // a file takes no POST
               "  }\n"
               "}\n";
    }

    temporary_directory directory_;
    unsigned short port_ = 0;
    pid_t process_ = -1;
};

TEST(Nginx, AnswersAreUnderstood) {
    if (program().empty())
        GTEST_SKIP() << "there is no nginx here; Debian has it in nginx-light";
    const nginx server;
    xml::root header, body("soap:Envelope"), reply_header, reply;
    str_t error;
    header["SOAPAction"]->setText("\"urn:x\"");
    body["soap:Body"]->setText("x");
    const auto post = [&](const char* path, long seconds = 30) { // as it starts, it refuses
        const std::string url = server.url(path);
        return ORV::http::request(url.c_str(), header, body, reply_header, reply, error,
                                  seconds * sysconf(_SC_CLK_TCK));
    };

    ASSERT_EQ(post("/ok"), 1) << error.c_str() << read_file(server.file("log"));
    EXPECT_STREQ(error.c_str(), "200 OK");
    EXPECT_STREQ(reply_header["Code"]->value, "200");
    EXPECT_STREQ(reply_header["content-type"]->value, "text/xml");
    EXPECT_STREQ(reply["b"]->value, header["Content-Length"]->value);
    ASSERT_EQ(reply.attributes.count, 1u);
    EXPECT_STREQ(reply.attributes.items[0].value, "urn:x");

    EXPECT_EQ(post("/fault"), 0);
    EXPECT_STREQ(error.c_str(), "500 Internal Server Error");
    EXPECT_EQ(std::string(reply.name, 10), "soap:Fault");

    EXPECT_EQ(post("/big.xml"), 1) << error.c_str();
    EXPECT_EQ(reply.value, big_value);

    EXPECT_EQ(post("/nowhere"), 0);
    EXPECT_STREQ(error.c_str(), "404 Not Found");

    body["soap:Body"]->setText((big_value + big_value).c_str()); // refused before it is all sent
    error.clear();
    EXPECT_EQ(post("/ok", 1), 0);
    EXPECT_FALSE(error.empty());
}

} // namespace
