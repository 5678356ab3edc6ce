#include "tests/matrix/players/HttpServer.h"

#include "platform/backends/posix/FileDescriptor.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

void sendAll(int connection, const std::string& data) {
  for (std::size_t done = 0; done < data.size();) {
    const ssize_t sent = send(connection, data.data() + done, data.size() - done, MSG_NOSIGNAL);
    if (sent <= 0) return;
    done += std::size_t(sent);
  }
}

void sendHead(int connection, const std::string& status, const std::string& fields, std::size_t length) {
  sendAll(connection, "HTTP/1.1 " + status + "\r\nCache-Control: no-store\r\n" + fields +
                          "Content-Length: " + std::to_string(length) + "\r\n\r\n");
}

/// What of a file a browser asks for, or all of it.
void sendFile(int connection, const std::string& path, const std::string& range) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const long size = file ? long(file.tellg()) : 0;
  long from = 0, to = size - 1;
  const bool part = std::sscanf(range.c_str(), "bytes=%ld-%ld", &from, &to) >= 1;
  to = std::min(to, size - 1);
  if (from > to) return sendHead(connection, "416 Range Not Satisfiable", "", 0);
  std::string fields =
      std::string("Accept-Ranges: bytes\r\nContent-Type: video/") + (path.ends_with(".webm") ? "webm" : "mp4") + "\r\n";
  if (part) {
    fields +=
        "Content-Range: bytes " + std::to_string(from) + "-" + std::to_string(to) + "/" + std::to_string(size) + "\r\n";
  }
  std::string data(std::size_t(to - from + 1), '\0');
  file.seekg(from);
  file.read(data.data(), std::streamsize(data.size()));
  sendHead(connection, part ? "206 Partial Content" : "200 OK", fields, data.size());
  sendAll(connection, data);
}

/// A field of a request's head, whose name is given in small letters.
std::string field(const std::string& head, const std::string& name) {
  std::string lower = head;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  const std::size_t at = lower.find("\r\n" + name + ": ");
  if (at == std::string::npos) return "";
  const std::size_t from = at + name.size() + 4;
  return head.substr(from, head.find("\r\n", from) - from);
}

}  // namespace

matrix::HttpServer::HttpServer(Handler handler) : handler_(std::move(handler)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      listen(listener_, 16) != 0 || getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::runtime_error("no port for the browser to call");
  }
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { accept(); });
}

matrix::HttpServer::~HttpServer() {
  closing_ = true;
  shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  close(listener_);
  for (std::thread& thread : threads_) thread.join();
}

void matrix::HttpServer::accept() {
  while (!closing_) {
    const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection >= 0) threads_.emplace_back([this, connection] { serve(connection); });
  }
}

void matrix::HttpServer::serve(int connection) const {
  const FileDescriptor closed(connection);
  std::string received;
  char buffer[16384];
  while (true) {
    std::string head;
    for (std::size_t length = 0; head.empty() || received.size() < head.size() + 2 + length;) {
      const std::size_t end = received.find("\r\n\r\n");
      if (head.empty() && end != std::string::npos) {
        head = received.substr(0, end + 2);
        length = std::size_t(std::atol(field(head, "content-length").c_str()));
        continue;
      }
      const ssize_t count = recv(connection, buffer, sizeof buffer, 0);
      if (count <= 0) return;  // also where something could not be sent
      received.append(buffer, std::size_t(count));
    }
    const std::size_t space = head.find(' ');
    const std::string path = head.substr(space + 1, head.find(' ', space + 1) - space - 1);
    const Answer answer = handler_(path, received.substr(head.size() + 2));
    received.clear();  // nobody asks for more before there is an answer
    if (!answer.file.empty()) {
      sendFile(connection, answer.file, field(head, "range"));
    } else {
      sendHead(connection, "200 OK", "Content-Type: " + answer.type + "\r\n", answer.body.size());
      sendAll(connection, answer.body);
    }
  }
}
