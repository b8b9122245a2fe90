// Linked into programs that use the database classes, so that the leak sanitizer passes over the one thing that stays
// allocated on purpose: a destroyed database object leaves its connection open until the process ends, and with it the
// client library's context and what that owns. The context comes from the connecting call, its parts in part from the
// reconnecting one; neither makes replies.

#if defined(__SANITIZE_ADDRESS__)
#define SCADA_LEAK_CHECK
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SCADA_LEAK_CHECK
#endif
#endif

#ifdef SCADA_LEAK_CHECK
extern "C" const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions() {
    return "leak:redisConnectUnixWithTimeout\nleak:redisReconnect\n";
}
#endif
