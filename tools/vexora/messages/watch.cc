// SPDX-License-Identifier: Apache-2.0
//
// vexora watch: receives requests from a queue or pipe in place of their daemon, and shows them.
#include <sys/ipc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>

#include <vexora/ipc.h>

#include "messages/commands.h"
#include "messages/layout.h"

namespace vexora::tool {
namespace {

constexpr RequestField kAnything[] = {{"data", VEXORA_PIPE_RECORD_MAX}};

struct WatchArguments {
  std::string source;
  std::vector<unsigned> component;
  unsigned count = 0;
  unsigned seconds = 0;
  bool make = false;
};

struct Source {
  RequestLayout layout;
  std::string pipe;  // "" for the layout's queue
};

Source sourceOf(const Session &session, const WatchArguments &arguments) {
  const RequestLayout *known = findLayout(arguments.source);
  if ((known != nullptr && std::strcmp(known->name, "component") == 0) != (arguments.component.size() == 2)) {
    throw Failure(kUsage, "KIND and INSTANCE belong to component, both");
  }
  if (known != nullptr) {
    const bool isComponent = !arguments.component.empty();
    const std::string path = isComponent              ? componentPipe(arguments.component[0], arguments.component[1])
                             : known->pipe == nullptr ? ""
                                                      : known->pipe;
    return {*known, path.empty() ? path : session.path(path)};
  }
  const auto key = parseNumber(arguments.source, INT32_MAX);
  if (key == IPC_PRIVATE) {
    throw Failure(kUsage, "key 0 makes a queue that no other program can find");
  }
  for (const RequestLayout &layout : requestLayouts()) {
    if (key ? key == layout.queue : layout.pipe != nullptr && arguments.source == layout.pipe) {
      return {layout, layout.pipe == nullptr ? "" : session.path(layout.pipe)};
    }
  }
  if (key) {
    return {{"queue", static_cast<int>(*key), nullptr, VEXORA_QUEUE_PAYLOAD_MAX, kAnything}, ""};
  }
  if (arguments.source.find('/') == std::string::npos) {
    throw Failure(kUsage, printable(arguments.source) + " is neither a request's name nor a queue's key nor a path");
  }
  return {{"pipe", 0, nullptr, VEXORA_PIPE_RECORD_MAX, kAnything}, arguments.source};
}

/// Checks the path first: the library removes one that it can't open.
int openPipe(const std::string &path, bool make) {
  if (make && vexora_create_pipe(path.c_str()) != 0) {
    throw Failure(kInaccessible, "could not make " + printable(path));
  }
  struct stat there {};
  const bool isPipe = stat(path.c_str(), &there) == 0 && S_ISFIFO(there.st_mode);
  if (!isPipe || access(path.c_str(), R_OK | W_OK) != 0) {
    throw Failure(kInaccessible,
                  printable(path) + (isPipe ? " may not be opened" : " is no pipe; --make makes a missing one"));
  }
  const int pipe = vexora_openpipe(path.c_str());
  if (pipe < 0) {
    throw Failure(kInaccessible, "could not open " + printable(path));
  }
  return pipe;
}

std::vector<std::uint8_t> receive(const Source &source, int from) {
  std::vector<std::uint8_t> bytes(source.layout.size);
  if (source.pipe.empty()) {
    if (VexoraReadMsgQueue(from, bytes.data(), static_cast<unsigned>(bytes.size())) != 0) {
      throw Failure(kInaccessible, "could not read from the queue");
    }
    return bytes;
  }
  const int got = vexora_readpipe(from, bytes.data(), static_cast<unsigned>(bytes.size()));
  if (got < 0) {
    throw Failure(kInaccessible, "could not read from " + printable(source.pipe));
  }
  bytes.resize(static_cast<std::size_t>(got));
  return bytes;
}

/// Of the known pipes only the MUPR consumer's has records of variable length.
bool isShort(const Source &source, const std::vector<std::uint8_t> &bytes) {
  return bytes.size() < source.layout.size && source.layout.size < VEXORA_PIPE_RECORD_MAX;
}

void print(Session &session, const Source &source, const std::vector<std::uint8_t> &bytes, Json &requests) {
  const bool cut = isShort(source, bytes);
  session.found(cut ? kFinding : kFine);
  if (session.json) {
    requests.append(requestJson(source.layout, bytes).add("cut", cut));
  } else {
    std::cout << source.layout.name << ", " << bytes.size() << " bytes" << (cut ? coloured(", cut", 31) : "") << "\n"
              << showRequest(source.layout, bytes) << std::flush;
  }
}

/// The library's waits end only with a request, so a detached thread waits. After the time limit or a signal the lock
/// on `turn` is never released: the thread prints nothing more and leaves this function's variables alone.
void takeRequests(Session &session, const Source &source, int from, const WatchArguments &arguments, Json &requests) {
  static std::mutex turn;
  sigset_t ends;
  sigemptyset(&ends);
  for (const int signal : {SIGINT, SIGTERM, SIGUSR1}) {
    sigaddset(&ends, signal);
  }
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  std::exception_ptr failure;
  std::thread([&, source, from, most = arguments.count, waiting = pthread_self()] {
    for (unsigned taken = 0; failure == nullptr && (most == 0 || taken < most); ++taken) {
      try {
        const std::vector<std::uint8_t> bytes = receive(source, from);
        const std::lock_guard lock(turn);
        print(session, source, bytes, requests);
      } catch (...) {
        const std::lock_guard lock(turn);
        failure = std::current_exception();
      }
    }
    pthread_kill(waiting, SIGUSR1);
  }).detach();
  const timespec limit{static_cast<std::time_t>(arguments.seconds), 0};
  const int ended = arguments.seconds == 0 ? sigwaitinfo(&ends, nullptr) : sigtimedwait(&ends, nullptr, &limit);
  turn.lock();
  if (failure != nullptr) {
    std::rethrow_exception(failure);
  }
  session.found(ended == SIGUSR1 || arguments.count == 0 ? kFine : kFinding);
}

void watch(Session &session, const WatchArguments &arguments) {
  const Source source = sourceOf(session, arguments);
  if (source.pipe.empty()) {
    needQueues(session);
  }
  const int from =
      source.pipe.empty() ? VexoraCreateMsgQueue(source.layout.queue) : openPipe(source.pipe, arguments.make);
  if (from < 0) {
    throw Failure(kInaccessible, "could not open the queue");
  }
  Json requests = array();
  takeRequests(session, source, from, arguments, requests);
  session.answer(object({{"requests", requests}}));
}

}  // namespace

void addWatch(Command app, Session &session) {
  const auto arguments = std::make_shared<WatchArguments>();
  Command command =
      app.add("watch",
              "Takes requests from a queue or pipe and shows their bytes beside their fields. What it takes, its "
              "daemon doesn't "
              "get: stop the daemon first. Sources are the names of 'send', a queue's key, and a pipe's path.",
              "vexora watch mca --count 1 --timeout 5");
  command.option("SOURCE", arguments->source, "Name, key or path").required();
  command.option("COMPONENT", arguments->component, "Kind and instance of a component monitor").takes(0, 2);
  command.option("--count", arguments->count, "End after so many requests");
  command.option("--timeout", arguments->seconds, "End after so many seconds; a finding when --count is not reached");
  command.flag("--make", arguments->make, "Make a pipe that is missing");
  command.run([&session, arguments] { watch(session, *arguments); });
}

}  // namespace vexora::tool
