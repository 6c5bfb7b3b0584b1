// SPDX-License-Identifier: Apache-2.0
//
// vexora send: sends daemons' requests by hand, with the library's calls, and shows their bytes.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>

#include "ipc/request_layout.h"
#include "messages/commands.h"
#include "messages/layout.h"

namespace vexora::tool {
namespace {

using namespace vexora::ipc;

struct SendArguments {
  bool dryRun = false;
  bool multi = false;
  std::vector<std::string> hex;
  std::string file;
  std::vector<unsigned> taskFailure;
  unsigned kind = 0;
  unsigned instance = 0;
  unsigned flag = 0;
  unsigned command = 0;
  unsigned first = 0;
  unsigned second = 0;
};

/// A request's bytes in the queue or pipe, and the library's call that sends it.
struct Request {
  const RequestLayout *layout;
  std::vector<std::uint8_t> bytes;
  std::function<int()> send;
  std::string pipe = layout->pipe == nullptr ? "" : layout->pipe;
};

using Bytes = std::vector<std::uint8_t>;

/// Returns the bytes of the command line or file. Throws Failure for more than `most`.
Bytes givenBytes(const SendArguments &arguments, std::size_t most) {
  std::string text;
  for (const std::string &piece : arguments.hex) {
    text += piece;
  }
  const std::optional<Bytes> given = arguments.file.empty() ? fromHex(text) : readFile(arguments.file);
  if (!given) {
    throw Failure(kUsage, "no pairs of hexadecimal digits: " + printable(text));
  }
  Bytes bytes = *given;
  if (bytes.size() > most) {
    throw Failure(kUsage, std::to_string(bytes.size()) + " bytes, more than the " + std::to_string(most) +
                              " that the request has");
  }
  return bytes;
}

/// Returns a request of zeros with a record at its place.
Bytes framed(const RequestLayout &layout, std::size_t at, const Bytes &record) {
  Bytes bytes(layout.size);
  std::copy(record.begin(), record.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
  return bytes;
}

Request mca(const SendArguments &arguments, const RequestLayout &layout) {
  Bytes request = givenBytes(arguments, kMcaRecordSize);
  request.resize(kMcaRecordSize);
  Bytes bytes = framed(layout, kRecordOffset, request);
  bytes[0] = kMcaRequest;
  return {&layout, bytes, [request] { return VexoraPostReqToMCA(request.data()); }};
}

Request idl(const SendArguments &arguments, const RequestLayout &layout) {
  Bytes record = givenBytes(arguments, kIdlRecordSize);
  record.resize(kIdlRecordSize);
  if (record[0] > kIdlTimedLog) {
    throw Failure(kFinding, "log type " + std::to_string(record[0]) + ": there are only 0 and 1");
  }
  if (record[0] == kIdlTimedLog) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    putLittleEndian(std::span(record).subspan(kIdlTimeOffset, 4), static_cast<std::uint32_t>(now + local.tm_gmtoff));
  }
  return {&layout, framed(layout, kRecordOffset, record), [record] { return VexoraPostReqToIDL(record.data()); }};
}

Request oneKeyLog(const SendArguments & /*arguments*/, const RequestLayout &layout) {
  return {&layout, framed(layout, 0, {kOneKeyLogCollect}), [] { return VexoraPostReqToOneKeyLog(); }};
}

Request sel(const SendArguments &arguments, const RequestLayout &layout) {
  Bytes record = givenBytes(arguments, kSelRecordSize);
  if (const std::vector<unsigned> &data = arguments.taskFailure; !data.empty()) {
    record.assign(kTaskFailure.begin(), kTaskFailure.end());
    for (std::size_t i = 0; i < std::size(kTaskFailureData); ++i) {
      record[kTaskFailureData[i]] = static_cast<std::uint8_t>(data[i]);
    }
  }
  if (record.size() != kSelRecordSize) {
    throw Failure(kUsage, "a SEL record has 10 bytes, not " + std::to_string(record.size()));
  }
  return {&layout, framed(layout, kSelRecordOffset, record),
          [record] { return VexoraAddSELToIPMIMain(record.data()); }};
}

Request mupr(const SendArguments &arguments, const RequestLayout &layout) {
  const Bytes data = givenBytes(arguments, layout.size);
  if (data.empty()) {
    throw Failure(kUsage, "no data: give hexadecimal bytes or --file");
  }
  return {&layout, data, [data] { return VexoraPostMuprData(data.data(), static_cast<unsigned>(data.size())); }};
}

Request component(const SendArguments &arguments, const RequestLayout &layout) {
  const Bytes data = givenBytes(arguments, VEXORA_COMPONENT_DATA_MAX);
  MonitorCommand command{static_cast<std::uint16_t>(arguments.command),
                         static_cast<std::uint8_t>(arguments.instance),
                         0,
                         arguments.flag,
                         static_cast<std::uint32_t>(data.size()),
                         {}};
  std::copy(data.begin(), data.end(), command.data);
  const auto *bytes = reinterpret_cast<const std::uint8_t *>(&command);
  const auto call = arguments.multi ? VexoraSendCompMonCmdWithMultiMode : VexoraSendCompMonCmdWithRespFlag;
  const auto send = [=] {
    return call(arguments.kind, arguments.instance, static_cast<int>(arguments.command),
                data.empty() ? nullptr : data.data(), static_cast<int>(data.size()), arguments.flag);
  };
  return {&layout, Bytes(bytes, bytes + sizeof command), send,
          componentPipe(arguments.kind, arguments.multi ? kAllInstances : arguments.instance)};
}

Request raid(const SendArguments &arguments, const RequestLayout &layout) {
  const unsigned first = arguments.first;
  const unsigned second = arguments.second;
  return {&layout, {static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(second)}, [=] {
            return SendRaidMonitorStatusToPipe(first, second);
          }};
}

/// Throws Failure where the library's call would do harm: it blocks on a full pipe, loses a request that nobody reads,
/// and may remove a path that is no pipe.
void needReader(const std::string &path) {
  struct stat there {};
  if (stat(path.c_str(), &there) != 0 || !S_ISFIFO(there.st_mode)) {
    throw Failure(kInaccessible, "no pipe " + printable(path) + ": its daemon has not made it");
  }
  pollfd pipe{open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC), POLLOUT, 0};
  const int error = errno;
  const bool hasRoom = pipe.fd >= 0 && poll(&pipe, 1, 0) == 1;
  if (pipe.fd < 0 || close(pipe.fd) != 0 || !hasRoom) {
    throw Failure(kInaccessible, printable(path) + ": " +
                                     (pipe.fd >= 0     ? "full"
                                      : error == ENXIO ? "nobody has it open, so the request would be lost"
                                                       : std::strerror(error)));
  }
}

void deliver(Session &session, const Request &request, bool dryRun) {
  const std::string where =
      request.layout->queue != 0 ? "queue " + std::to_string(request.layout->queue) : session.path(request.pipe);
  if (!dryRun) {
    request.layout->queue != 0 ? needQueues(session) : needReader(where);
    int result = -1;
    const std::string said = captured([&] { result = request.send(); });
    if (result != 0) {
      throw Failure(kInaccessible, "not sent to " + printable(where) + (said.empty() ? "" : ": " + printable(said)));
    }
  }
  if (session.json) {
    session.answer(requestJson(*request.layout, request.bytes).add("to", where).add("sent", !dryRun));
  } else {
    std::cout << request.layout->name << ", " << request.bytes.size() << " bytes, " << (dryRun ? "not sent" : "sent")
              << " to " << printable(where) << "\n"
              << showRequest(*request.layout, request.bytes);
  }
}

struct Kind {
  const char *name;
  const char *description;
  const char *example;
  Request (*make)(const SendArguments &arguments, const RequestLayout &layout);
  bool hasData;
};

constexpr Kind kKinds[] = {
    {"mca", "Sends a request of up to 256 bytes to the machine-check analysis.", "a0 a1 a2", mca, true},
    {"idl",
     "Sends a record of up to 220 bytes to the diagnosis log. The first byte is the log type, 0 or 1; records of "
     "type 1 get the local time.",
     "01 02 03", idl, true},
    {"onekeylog", "Asks the one-key log collector to collect.", "", oneKeyLog, false},
    {"sel", "Asks the main IPMI daemon to add a record of 10 bytes to the System Event Log.",
     "20 00 00 18 02 00 05 01 06 07", sel, true},
    {"mupr", "Sends data to the MUPR consumer.", "01 02 03", mupr, true},
    {"component", "Sends a command to a component monitor.", "3 1 0x0102 aa bb --flag 1", component, true},
    {"raid", "Sends a status of two bytes to the RAID replacement monitor.", "1 2", raid, false},
};

void addKind(Command app, Session &session, const Kind &kind) {
  const auto arguments = std::make_shared<SendArguments>();
  const std::string name = kind.name;
  Command command = app.add(name, kind.description,
                            "vexora send " + name + (*kind.example != '\0' ? " " : "") + kind.example + " --dry-run");
  command.flag("--dry-run,-n", arguments->dryRun, "Show the request, and don't send it");
  if (name == "component") {
    command.option("KIND", arguments->kind, "Component kind").required();
    command.option("INSTANCE", arguments->instance, "Instance number").required();
    command.option("COMMAND", arguments->command, "Command code").required().isBetween(0, 0xFFFF);
    command.option("--flag", arguments->flag, "Response flag");
    command.flag("--multi", arguments->multi, "To the monitor that serves all instances of the kind");
  }
  if (name == "raid") {
    command.option("FIRST", arguments->first, "First byte").required().isBetween(0, 0xFF);
    command.option("SECOND", arguments->second, "Second byte").required().isBetween(0, 0xFF);
  }
  if (kind.hasData) {
    Option hex = command.option("BYTES", arguments->hex, "Data in hexadecimal digits; zeros follow");
    command.option("--file", arguments->file, "Data from a file, - for standard input").excludes(hex);
  }
  if (name == "sel") {
    command.option("--task-failure", arguments->taskFailure, "The record of a task's failure, of three data bytes")
        .takes(3, 3);
  }
  command.run([&session, &kind, arguments] {
    deliver(session, kind.make(*arguments, *findLayout(kind.name)), arguments->dryRun);
  });
}

}  // namespace

void addSend(Command app, Session &session) {
  Command send = app.add("send",
                         "Sends a request to a daemon, and shows its bytes beside its fields. A request to a pipe "
                         "goes out only when somebody has the pipe open.",
                         "vexora send sel 20 00 00 18 02 00 05 01 06 07 --dry-run");
  send.needsCommand();
  for (const Kind &kind : kKinds) {
    addKind(send, session, kind);
  }
}

}  // namespace vexora::tool
