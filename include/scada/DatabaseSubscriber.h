#pragma once

#include <scada/DatabaseBase.h>
#include <scada/export.h>

#include <atomic>

namespace Kelvra {
namespace SCADA {

/// Hands the keyspace notifications of the selected database to a callback, through server restarts.
/// Serves one thread at a time, but for stop(), which any thread may call. What happens while the connection is down is
/// lost. Notifications are switched on for the whole server (notify-keyspace-events KA). Once looped, the object is in
/// subscription mode and no longer fit for commands; do not call subscribe() and then loop() on one object.
class SCADA_EXPORT DatabaseSubscriber : public DatabaseBase {
public:
    /// Makes no connection yet.
    DatabaseSubscriber();
    /// Leaves the connection open, as DatabaseBase does. REQUIRES: loop() has returned.
    ~DatabaseSubscriber() override;

    /// Switches notifications on and subscribes to those of every key. Returns RESULT_OK, RESULT_NO_REPLY or
    /// RESULT_UNEXPECTED. Called by loop().
    int subscribe();

    /// Receives on the caller's thread until stopped, subscribing again after a lost connection, every 200 ms while
    /// that fails. `callback` may be null; it is called on this thread with each message, an array of kind, pattern,
    /// channel and event, and with `user` as it was given. The message is valid during the call only and not to be
    /// released. An exception of the callback ends the loop, passes through and leaves the connection subscribed: the
    /// object is then of no further use. Returns 0.
    int loop(void (*callback)(redisReply*, void*), void* user);

    /// Asks the loop to end, for good: within a receive timeout of 1 s or a pause of 200 ms, at once from the callback.
    /// A subscription in progress is finished first. A signal handled on the loop's thread starts the timeout anew.
    void stop();

private:
    std::atomic<bool> stopRequested;
};

} // namespace SCADA
} // namespace Kelvra
