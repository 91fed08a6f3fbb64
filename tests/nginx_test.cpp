// The web-service client against a server that others wrote.
#include <orv/http/http.hpp>

#include "support/scripted_server.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const std::string big_reply = "<big>" + std::string(1 << 20, 'x') + "</big>";

// An nginx of our own, with everything it writes in a temporary directory.
class nginx {
public:
    static std::string program() {
        const char* path = std::getenv("PATH");
        for (std::string rest = std::string(path ? path : "") + ":/usr/sbin:/usr/local/sbin:";
             !rest.empty(); rest.erase(0, rest.find(':') + 1)) {
            const std::string candidate = rest.substr(0, rest.find(':')) + "/nginx";
            if (access(candidate.c_str(), X_OK) == 0)
                return candidate;
        }
        return "";
    }

    nginx() {
        char name[] = "/tmp/nginx_test.XXXXXX";
        directory_ = mkdtemp(name);
        close(support::bind_loopback(port_)); // a port that is free now
        std::ofstream(directory_ + "/big.xml") << big_reply;
        std::ofstream(directory_ + "/nginx.conf") << configuration();
        process_ = fork();
        if (process_ == 0) {
            const int log = open((directory_ + "/log").c_str(), O_CREAT | O_WRONLY, 0600);
            dup2(log, STDOUT_FILENO);
            dup2(log, STDERR_FILENO);
            execl(program().c_str(), "nginx", "-p", directory_.c_str(), "-c", "nginx.conf", "-e",
                  "stderr", nullptr);
            _exit(1);
        }
    }
    ~nginx() {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
        std::filesystem::remove_all(directory_);
    }

    std::string url(const char* path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }
    std::string log() const {
        std::ifstream file(directory_ + "/log");
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::string configuration() const {
        return "daemon off; master_process off; pid pid; error_log stderr;\n"
               "events {}\n"
               "http {\n"
               "  access_log off; default_type text/xml;\n"
               "  client_body_temp_path t1; proxy_temp_path t2; fastcgi_temp_path t3;\n"
               "  uwsgi_temp_path t4; scgi_temp_path t5; client_max_body_size 1m;\n"
               "  server {\n"
               "    listen 127.0.0.1:" +
               std::to_string(port_) + "; root " + directory_ +
               ";\n"
               "    location /ok { return 200 '<a soap=$http_soapaction><b>$content_length</b></a>"
               "'; }\n"
               "    location /fault { return 500 '<soap:Fault/>'; }\n"
               "    location /big.xml { error_page 405 =200 /big.xml; }\n" // a file takes no POST
               "  }\n"
               "}\n";
    }

    std::string directory_;
    unsigned short port_ = 0;
    pid_t process_ = -1;
};

TEST(Nginx, AnswersAreUnderstood) {
    if (nginx::program().empty())
        GTEST_SKIP() << "there is no nginx here; Debian has it in nginx-light";
    const nginx server;
    xml::root header, body("soap:Envelope"), reply_header, reply_body;
    header["SOAPAction"]->setText("\"urn:x\"");
    body["soap:Body"]->setText("x");
    const auto post = [&](const char* path, str_t& error) {
        return ORV::http::request(server.url(path).c_str(), header, body, reply_header, reply_body,
                                  error, 5 * sysconf(_SC_CLK_TCK)); // as it starts, it refuses
    };
    const auto value = [](const xml::item* found) -> std::string {
        return found && found->value ? found->value : "(none)";
    };

    str_t error;
    ASSERT_EQ(post("/ok", error), 1) << error.c_str() << server.log();
    EXPECT_STREQ(error.c_str(), "200 OK");
    EXPECT_EQ(value(reply_header.get("Code", nullptr)), "200");
    EXPECT_EQ(value(reply_header.get("content-type", nullptr)), "text/xml");
    EXPECT_EQ(value(reply_body.get("b", nullptr)), value(header.get("Content-Length", nullptr)));
    ASSERT_EQ(reply_body.attributes.count, 1u);
    EXPECT_STREQ(reply_body.attributes.items[0].value, "urn:x");

    EXPECT_EQ(post("/fault", error), 0);
    EXPECT_STREQ(error.c_str(), "500 Internal Server Error");
    EXPECT_EQ(std::string(reply_body.name, 10), "soap:Fault");

    EXPECT_EQ(post("/big.xml", error), 1) << error.c_str();
    EXPECT_EQ(value(&reply_body).size(), big_reply.size() - 11);

    EXPECT_EQ(post("/nowhere", error), 0);
    EXPECT_STREQ(error.c_str(), "404 Not Found");

    body["soap:Body"]->setText(std::string(2 << 20, 'x').c_str()); // refused before it is all sent
    str_t refused;
    EXPECT_EQ(ORV::http::request(server.url("/ok").c_str(), header, body, reply_header, reply_body,
                                 refused, 20),
              0);
    EXPECT_FALSE(refused.empty());
}

} // namespace
