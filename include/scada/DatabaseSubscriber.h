#pragma once

#include <scada/DatabaseBase.h>
#include <scada/export.h>

#include <atomic>

namespace Kelvra {
namespace SCADA {

/// Passes the keyspace notifications of the selected database to a callback, and survives restarts of the server.
/// Changes that happen while the connection is down are lost. Notifications are switched on for the whole server
/// (notify-keyspace-events KA). Once loop() has run, the object is in subscription mode and cannot run commands any
/// more. Do not call subscribe() and then loop() on one object. Serves one thread at a time; only stop() may be called
/// from any thread.
class SCADA_EXPORT DatabaseSubscriber : public DatabaseBase {
public:
    /// Does not connect yet.
    DatabaseSubscriber();
    /// Leaves the connection open, like DatabaseBase. REQUIRES: loop() has returned.
    ~DatabaseSubscriber() override;

    /// Switches notifications on and subscribes to those of all keys. Returns RESULT_OK, RESULT_NO_REPLY or
    /// RESULT_UNEXPECTED. loop() calls it.
    int subscribe();

    /// Receives messages on the calling thread until stop() is called. After a lost connection it subscribes again; if
    /// that fails, it tries again every 200 ms. Calls `callback`, unless it is null, on this thread with each message
    /// and with `user` unchanged. A message is an array of kind, pattern, channel and event; it is valid during the
    /// call only, and the callback must not release it. An exception from the callback ends the loop, passes through
    /// and leaves the connection subscribed; do not use the object after that. Returns 0.
    int loop(void (*callback)(redisReply*, void*), void* user);

    /// Stops the loop permanently: at once if called from the callback, otherwise within the receive timeout of 1 s or
    /// the pause of 200 ms. A subscription in progress is finished first. A signal handled on the loop's thread
    /// restarts the timeout. Any thread may call.
    void stop();

private:
    std::atomic<bool> stopRequested;
};

} // namespace SCADA
} // namespace Kelvra
