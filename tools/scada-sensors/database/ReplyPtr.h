#pragma once

#include <hiredis/hiredis.h>

#include <memory>

namespace Kelvra::SCADA::Tool {

struct FreeReply {
    void operator()(redisReply* reply) const { freeReplyObject(reply); }
};

/// Owns a reply of the client library.
using ReplyPtr = std::unique_ptr<redisReply, FreeReply>;

} // namespace Kelvra::SCADA::Tool
