#pragma once

#include <hiredis/hiredis.h>

#include <memory>

namespace Kelvra::SCADA::Test {

struct FreeContext {
    void operator()(redisContext* context) const { redisFree(context); }
};
struct FreeReply {
    void operator()(redisReply* reply) const { freeReplyObject(reply); }
};
using ContextPtr = std::unique_ptr<redisContext, FreeContext>;
using ReplyPtr = std::unique_ptr<redisReply, FreeReply>;

} // namespace Kelvra::SCADA::Test
