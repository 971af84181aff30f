#pragma once

namespace lumo::logging {

// fork() copies the memory of a process but only the thread that calls it. A lock that another thread holds
// at that moment is never released in the child. So all locks are taken before the fork, by the thread that
// forks, and released after it on both sides: in the child nobody is then in the middle of what they protect.

// Something with a lock of its own that has to be in order in a forked child, where the other threads are
// gone. While holding its lock it takes no other lock of this folder.
class ForkAware {
public:
    ForkAware() = default;
    ForkAware(const ForkAware&) = delete;
    ForkAware& operator=(const ForkAware&) = delete;

    virtual void lockForFork() = 0;
    virtual void unlockInParent() = 0;
    virtual void unlockInChild() = 0;

protected:
    virtual ~ForkAware() = default;

private:
    friend class ForkEnlistment;
    friend class ForkList;
    ForkAware* next = nullptr;
    ForkAware* previous = nullptr;
};

// Last member of a ForkAware class: enlists the complete object, for as long as it is complete.
class ForkEnlistment {
public:
    explicit ForkEnlistment(ForkAware& object);
    ForkEnlistment(const ForkEnlistment&) = delete;
    ForkEnlistment& operator=(const ForkEnlistment&) = delete;
    ~ForkEnlistment();

private:
    ForkAware& enlisted;
};

// The steps of a fork, for all that are enlisted.
void lockAllForFork();
void unlockAllInParent();
void unlockAllInChild();

}  // namespace lumo::logging
