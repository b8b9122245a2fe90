#include "database/LimitedDatabase.h"

#include "database/Inquiry.h"
#include "database/access.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/Env.h>

#include <algorithm>
#include <future>
#include <thread>

namespace Kelvra::SCADA::Tool {

namespace {

using Clock = TimeLimit::Clock;

void requireServer(const TimeLimit& limit) {
    const ServerFault fault = Inquiry(limit).open();
    if (!fault.empty())
        throw NoDatabase(fault.text);
}

// Waits in pieces: a wait of many years does not fit the system's time on 32-bit machines.
bool isReadyBy(const std::future<LimitedDatabase::Result>& result, std::optional<Clock::time_point> end) {
    constexpr std::chrono::hours LONGEST_PIECE(1);
    for (;;) {
        const Clock::time_point piece = Clock::now() + LONGEST_PIECE;
        if (result.wait_until(end ? std::min(*end, piece) : piece) == std::future_status::ready)
            return true;
        if (end && Clock::now() >= *end)
            return false;
    }
}

} // namespace

LimitedDatabase::LimitedDatabase(unsigned int waitSeconds) : limit(waitSeconds), end(limit.end) {
    requireServer(limit);
    useConfiguredDatabase(*database);
}

void LimitedDatabase::allow(unsigned int seconds) {
    end = seconds == 0 ? std::nullopt : std::optional<Clock::time_point>(limit.end + std::chrono::seconds(seconds));
}

void LimitedDatabase::startAnew() {
    limit = TimeLimit(limit.seconds);
    end = limit.end;
}

// The library's command has no time limit and cannot be cancelled. A thread waits for it, and the process leaves that
// thread behind. A limit on the socket would cover neither the selection of the database nor the library's second
// attempt.
LimitedDatabase::Result LimitedDatabase::run(const Call& call) {
    std::packaged_task<Result()> task([shared = database, call] {
        Result result;
        result.code = call(*shared, &result.value);
        return result;
    });
    std::future<Result> future = task.get_future();
    std::thread thread(std::move(task));
    const std::string path = Env::inst().conf().getDfnDatabaseSocket();
    if (!isReadyBy(future, end)) {
        thread.detach();
        throw NoDatabase(filled("The server at [%s] did not answer the command within %s. It may still carry it out.",
                                {path, counted(limit.seconds, "second")}));
    }
    thread.join();
    Result result = future.get();
    if (result.code != DatabaseBase::RESULT_NO_REPLY)
        return result;
    TimeLimit rest(limit.seconds);
    rest.end = std::min(rest.end, end.value_or(rest.end));
    requireServer(rest);
    throw NoDatabase(filled("The server at [%s] lost the command or its reply. It may have carried it out.", {path}));
}

} // namespace Kelvra::SCADA::Tool
