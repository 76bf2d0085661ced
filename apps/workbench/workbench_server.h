// The workbench server: one Boost.Beast server on 127.0.0.1 and the process's one event
// loop, with HTTP for the pages, their scripts, documents and extracted files, and one
// WebSocket per open page that carries the page's JSON messages both ways.
//
// Addresses. Every request carries the session's secret, either as the first segment of
// the path ("/SECRET/...") or as the query "?secret=SECRET":
//   /SECRET/                 the main page
//   /form/NAME?secret=S      a page showing the form NAME (also /SECRET/form/NAME)
//   /ws?secret=S             the page's WebSocket (also /SECRET/ws)
//   /SECRET/web/FILE         the pages' scripts and styles (compiled into the program)
//   /SECRET/doc/N            a document made for a page (a letter, a pack report), shown in
//                            a sandboxed frame that runs no script and loads nothing remote
//   /SECRET/f/m/NAME, f/t/NAME   a file of the extraction folders, by its canonical name
//   POST /SECRET/import?name=FILE   dropped letters (.eml or mbox) to store
//
// Refused: a request without the secret (404), a Host header that isn't this server's
// (421), a WebSocket or a POST whose Origin isn't this server's page (403), any method
// but GET and HEAD outside the import (405). A GET never changes the store: documents are
// made over the WebSocket and only read by their address. The pages' Content-Security-
// Policy allows scripts and styles from the server's own web folder only.
//
// Dialogs. While a handler waits for a page's answer (a message box, a modal form) the
// loop keeps running, so the page goes on working; when the page goes away the question
// ends as Cancel.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <boost/json.hpp>

#include "presentation/html_text.h"

namespace ravelin::workbench {

namespace json = boost::json;

class Page;

class WorkbenchServer {
 public:
  struct Options {
    uint16_t port = 0;  // 0: a port the system chooses
  };
  // Listens on 127.0.0.1. Throws ravelin::Error (70) when the port can't be had.
  explicit WorkbenchServer(Options options);
  WorkbenchServer() : WorkbenchServer(Options{}) {}
  ~WorkbenchServer();
  WorkbenchServer(const WorkbenchServer&) = delete;
  WorkbenchServer& operator=(const WorkbenchServer&) = delete;

  uint16_t Port() const;
  const std::string& Secret() const;
  // "http://127.0.0.1:PORT"
  std::string Origin() const;
  // The main page: "http://127.0.0.1:PORT/SECRET/".
  std::string Url() const;

  // A page message whose "op" starts with `prefix` ("main.") goes to `handler`, with the
  // page that sent it. Handlers run on the loop and may ask the page questions.
  using OpHandler = std::function<void(Page& page, const json::object& message)>;
  void Handle(std::string prefix, OpHandler handler);
  // The body of a POST to /SECRET/import; returns the JSON answer.
  using ImportHandler = std::function<json::value(const std::u16string& name, std::string octets)>;
  void OnImport(ImportHandler handler);

  // Keeps a document for the pages; returns its address ("/SECRET/doc/N").
  std::string AddDocument(const presentation::Document& doc);

  // Sends a message to every open page.
  void Broadcast(const json::value& message);
  int32_t OpenPages() const;
  // The page whose message is being handled now, else the page opened last; null when no
  // page is open.
  Page* CurrentPage();

  // Asks the current page a question ({"op":"dialog","id":N,"kind":...} with `dialog`'s
  // members) and runs the loop until it answers; nothing when there's no page, the page
  // went away, a page asked to quit or the server stopped.
  std::optional<json::value> Ask(json::object dialog);

  // True once a page sent {"op":"quit"}.
  bool QuitRequested() const;
  // Stops listening, tells the pages that the server stopped, closes them; pending
  // questions end unanswered.
  void Stop();
  bool Stopped() const;
  // Requests answered so far (HTTP), for tests.
  int32_t Requests() const;

  struct Impl;

 private:
  std::shared_ptr<Impl> impl_;
};

// One open page: its WebSocket.
class Page {
 public:
  virtual ~Page() = default;
  virtual void Send(const json::value& message) = 0;
  virtual bool Closed() const = 0;
  virtual int32_t Id() const = 0;
};

// The text of a JSON string member, "" when absent or not a string.
std::string Member(const json::object& o, std::string_view name);
// A JSON string as UTF-16, and back.
std::u16string Utf16(const json::value& v);
json::value JsonText(std::u16string_view text);

}  // namespace ravelin::workbench
