#include "database/reply.h"

#include <scada/DatabaseBase.h>

#include <strings.h>

namespace Kelvra::SCADA {

bool isOkStatus(const ReplyPtr& reply) {
    return isType(reply, REDIS_REPLY_STATUS) && strcasecmp(reply->str, "ok") == 0;
}

bool isType(const ReplyPtr& reply, int type) {
    return reply && reply->type == type;
}

int toResult(const ReplyPtr& reply, bool success) {
    if (!reply)
        return DatabaseBase::RESULT_NO_REPLY;
    return success ? DatabaseBase::RESULT_OK : DatabaseBase::RESULT_UNEXPECTED;
}

} // namespace Kelvra::SCADA
