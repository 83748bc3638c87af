// Scripts of an HTTP server for ScriptedServer: the exact request, then a response.
//
//   ScriptedServer server({scripted_http::Exchange("GET / HTTP/1.0\r\n\r\n", "HTTP/1.0 200
//   OK\r\n\r\nbody")});
//
// The response may be cut anywhere by what follows it.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "tests/support/scripted_server.h"

namespace scripted_http {

// Ends by FIN behind the response, as an HTTP/1.0 server does, and waits for the client to go.
inline Script Exchange(std::string request, std::string response) {
  return {script::Expect(std::move(request)), script::Send(std::move(response)), script::Finish(),
          script::ReadToEnd()};
}

// Takes any request; for tests of what the client makes of a response.
inline Script Answer(std::string response) {
  return {script::ReadUntil("\r\n\r\n"), script::Send(std::move(response)), script::Finish(),
          script::ReadToEnd()};
}

// A response that arrives one byte at a time.
inline Script AnswerSlowly(std::string response, int millisecondsBetween) {
  return {script::ReadUntil("\r\n\r\n"), script::SendSlowly(std::move(response), millisecondsBetween),
          script::Finish(), script::ReadToEnd()};
}

// A response that breaks off with a reset. The pause lets the client read what came before it: a reset throws
// away what was not read.
inline Script AnswerThenReset(std::string response) {
  return {script::ReadUntil("\r\n\r\n"), script::Send(std::move(response)), script::Wait(100),
          script::Reset()};
}

// A response after which the server says nothing more and does not end.
inline Script AnswerThenStall(std::string response) {
  return {script::ReadUntil("\r\n\r\n"), script::Send(std::move(response)), script::Stall()};
}

// A response of status 200 with its length.
inline std::string Okay(std::string_view body) {
  return "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

}  // namespace scripted_http
