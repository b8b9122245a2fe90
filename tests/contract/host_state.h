#pragma once

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <thread>

#include <sys/wait.h>

/// States that a host program may be in when it calls the support library. Each ends with its object.

class SignalAction {
public:
    SignalAction(int number, void (*handler)(int)) : signalNumber(number) {
        struct sigaction wanted = {};
        wanted.sa_handler = handler;
        sigaction(signalNumber, &wanted, &before);
    }
    ~SignalAction() { sigaction(signalNumber, &before, nullptr); }
    SignalAction(const SignalAction&) = delete;
    SignalAction& operator=(const SignalAction&) = delete;

private:
    int signalNumber;
    struct sigaction before = {};
};

class AllSignalsBlocked {
public:
    AllSignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

private:
    sigset_t before = {};
};

/// A thread that collects the status of every child of the process, as a host with its own helper programs may do.
class ChildReaper {
public:
    ChildReaper() : thread([this] { reap(); }) {}
    ~ChildReaper() {
        stopping = true;
        thread.join();
    }
    ChildReaper(const ChildReaper&) = delete;
    ChildReaper& operator=(const ChildReaper&) = delete;

    int count() const { return reaped; }

private:
    void reap() {
        const timespec pause = {0, 20000};
        while (!stopping) {
            if (waitpid(-1, nullptr, 0) > 0)
                ++reaped;
            else
                nanosleep(&pause, nullptr);
        }
    }

    std::atomic<bool> stopping{false};
    std::atomic<int> reaped{0};
    std::thread thread;
};
