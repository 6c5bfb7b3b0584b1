// SPDX-License-Identifier: Apache-2.0
//
// The history command: one request for count, query and clear, answered with IPMI completion codes.

#include <cstdint>

#include "base/bytes.h"
#include "vexora/history.h"

namespace {

enum Completion : std::uint8_t {
  kSuccess = 0x00,
  kRequestLengthInvalid = 0xC7,
  kParameterOutOfRange = 0xC9,
  kInvalidDataField = 0xCC,
};

enum Operation : std::uint8_t { kCount = 0, kQuery = 1, kClear = 2 };

constexpr std::uint32_t kPlainRequestLength = 1;
constexpr std::uint32_t kQueryRequestLength = 10;
constexpr int kAnswerHeader = 5;

int complete(std::uint8_t *response, Completion code) {
  response[0] = code;
  return 1;
}

int answerCount(std::uint8_t *response) {
  std::uint32_t count = 0;
  if (getHistoryDataNum(&count) != 0) {
    return complete(response, kInvalidDataField);
  }
  response[0] = kSuccess;
  vexora::storeLittle32(response + 1, count);
  return kAnswerHeader;
}

int answerQuery(const std::uint8_t *request, std::uint8_t *response) {
  const std::uint32_t start = vexora::loadLittle32(request + 2);
  const std::uint32_t end = vexora::loadLittle32(request + 6);
  std::uint32_t count = 0;
  const int bytes = getHistoryData(response + kAnswerHeader, request[1], start, end, &count);
  if (bytes == -1) {
    return complete(response, kInvalidDataField);
  }
  response[0] = kSuccess;
  vexora::storeLittle32(response + 1, count);
  return kAnswerHeader + bytes;
}

int answerClear(std::uint8_t *response) {
  return complete(response, clearHistoryData() == 0 ? kSuccess : kInvalidDataField);
}

}  // namespace

int VexoraHistoryRecordDataOper(const uint8_t *request, uint32_t request_length, uint8_t *response) {
  if (request == nullptr || response == nullptr) {
    return 0;
  }
  if (request_length == 0) {
    return complete(response, kRequestLengthInvalid);
  }
  const std::uint8_t operation = request[0];
  if (operation > kClear) {
    return complete(response, kParameterOutOfRange);
  }
  if (request_length != (operation == kQuery ? kQueryRequestLength : kPlainRequestLength)) {
    return complete(response, kRequestLengthInvalid);
  }
  switch (operation) {
    case kCount:
      return answerCount(response);
    case kQuery:
      return answerQuery(request, response);
    default:
      return answerClear(response);
  }
}
