#include "tests/matrix/players/HttpServer.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool sendAll(int connection, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t sent = send(connection, data, size, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    data += sent;
    size -= std::size_t(sent);
  }
  return true;
}

bool sendFile(int connection, const std::string& path, const std::string& range) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const long size = file ? long(file.tellg()) : 0;
  long from = 0, to = size - 1;
  const bool part = std::sscanf(range.c_str(), "bytes=%ld-%ld", &from, &to) >= 1;
  to = std::min(to, size - 1);
  if (!file || from > to) {
    const std::string none = "HTTP/1.1 416 Range Not Satisfiable\r\nContent-Length: 0\r\n\r\n";
    return sendAll(connection, none.data(), none.size());
  }
  std::string header = part ? "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + std::to_string(from) + "-" +
                                  std::to_string(to) + "/" + std::to_string(size) + "\r\n"
                            : "HTTP/1.1 200 OK\r\n";
  const bool webm = path.ends_with(".webm");
  header += std::string("Content-Type: ") + (webm ? "video/webm" : "video/mp4") +
            "\r\nAccept-Ranges: bytes\r\nCache-Control: no-store\r\nContent-Length: " + std::to_string(to - from + 1) +
            "\r\n\r\n";
  if (!sendAll(connection, header.data(), header.size())) return false;
  std::string data(1 << 16, '\0');
  file.seekg(from);
  for (long left = to - from + 1; left > 0;) {
    if (!file.read(data.data(), std::min(left, long(data.size())))) return false;
    if (!sendAll(connection, data.data(), std::size_t(file.gcount()))) return false;
    left -= file.gcount();
  }
  return true;
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
  {
    const std::lock_guard lock(mutex_);
    for (int connection : connections_) shutdown(connection, SHUT_RDWR);
  }
  for (std::thread& thread : threads_) thread.join();
  for (int connection : connections_) close(connection);
}

void matrix::HttpServer::accept() {
  while (!closing_) {
    const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    const std::lock_guard lock(mutex_);
    connections_.push_back(connection);
    threads_.emplace_back([this, connection] { serve(connection); });
  }
}

void matrix::HttpServer::serve(int connection) {
  std::string received;
  char buffer[16384];
  const auto receive = [&] {
    const ssize_t count = recv(connection, buffer, sizeof buffer, 0);
    if (count > 0) received.append(buffer, std::size_t(count));
    return count > 0;
  };
  while (!closing_) {
    std::size_t end = 0;
    while ((end = received.find("\r\n\r\n")) == std::string::npos) {
      if (!receive()) return;
    }
    const std::string head = received.substr(0, end + 2);
    const auto field = [&](const std::string& name) -> std::string {
      std::string lower = head;
      std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return char(std::tolower(c)); });
      const std::size_t at = lower.find("\r\n" + name + ": ");
      if (at == std::string::npos) return "";
      const std::size_t from = at + name.size() + 4;
      return head.substr(from, head.find("\r\n", from) - from);
    };
    const std::size_t length = std::size_t(std::atol(field("content-length").c_str()));
    while (received.size() < end + 4 + length) {
      if (!receive()) return;
    }
    const std::string body = received.substr(end + 4, length);
    received.erase(0, end + 4 + length);
    const std::size_t space = head.find(' ');
    const Answer answer = handler_(head.substr(space + 1, head.find(' ', space + 1) - space - 1), body);
    bool sent = false;
    if (!answer.file.empty()) {
      sent = sendFile(connection, answer.file, field("range"));
    } else {
      const std::string whole = "HTTP/1.1 200 OK\r\nContent-Type: " + answer.type +
                                "\r\nCache-Control: no-store\r\nContent-Length: " + std::to_string(answer.body.size()) +
                                "\r\n\r\n" + answer.body;
      sent = sendAll(connection, whole.data(), whole.size());
    }
    if (!sent) return;
  }
}
