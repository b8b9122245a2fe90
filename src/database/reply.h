#pragma once

#include <hiredis/hiredis.h>

#include <memory>

namespace Kelvra::SCADA {

struct FreeReply {
    void operator()(redisReply* reply) const { freeReplyObject(reply); }
};

/// Owns a reply. Null means that there was no reply.
using ReplyPtr = std::unique_ptr<redisReply, FreeReply>;

/// Each returns false for a null reply.
bool isOkStatus(const ReplyPtr& reply);
bool isType(const ReplyPtr& reply, int type);

/// Returns the result code of a command that succeeds exactly when `success` holds.
int toResult(const ReplyPtr& reply, bool success);

} // namespace Kelvra::SCADA
