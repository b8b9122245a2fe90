#pragma once

#include "database/TimeLimit.h"
#include "database/typed_read.h"

#include <scada/Database.h>

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

namespace Kelvra::SCADA::Tool {

/// Thrown with the reason when the database does not serve, or not in time. A command may then still wait for its reply
/// on its own thread, so the process must end without the cleanup of exit().
class NoDatabase : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The configured database, asked within a time limit. Each operation throws NoDatabase.
class LimitedDatabase {
public:
    struct Result {
        int code = DatabaseBase::RESULT_OK; ///< never RESULT_NO_REPLY
        TypedValue value;
    };
    using Call = std::function<int(Database& database, TypedValue* value)>;

    /// Checks the server before the first command.
    explicit LimitedDatabase(unsigned int waitSeconds);

    /// Gives the server so many more seconds; 0 removes the limit.
    void allow(unsigned int seconds);

    /// Restarts the time limit, for the next one of many calls.
    void startAnew();

    /// Runs one call of the library. Everything that `call` captures must live as long as the process.
    Result run(const Call& call);

private:
    TimeLimit limit;
    std::optional<TimeLimit::Clock::time_point> end;
    std::shared_ptr<Database> database = std::make_shared<Database>();
};

} // namespace Kelvra::SCADA::Tool
