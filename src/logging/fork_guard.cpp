#include "logging/fork_guard.h"

#include <mutex>

namespace lumo::logging {

// A list whose links are members of the objects, so enlisting takes no memory and cannot fail. It is needed
// until the last of them is gone, which may be after the static objects of this library.
class ForkList {
public:
    template <class Action>
    void forEach(Action action) {
        for (ForkAware* object = first; object != nullptr; object = object->next) {
            (object->*action)();
        }
    }

    void add(ForkAware& object) {
        const std::lock_guard lock(mutex);
        object.next = first;
        if (first != nullptr) {
            first->previous = &object;
        }
        first = &object;
    }

    void remove(const ForkAware& object) {
        const std::lock_guard lock(mutex);
        (object.previous != nullptr ? object.previous->next : first) = object.next;
        if (object.next != nullptr) {
            object.next->previous = object.previous;
        }
    }

    std::mutex mutex;
    ForkAware* first = nullptr;
};

namespace {

// Without a constructor at run time, so that objects may enlist before and after all others of this library
// exist.
constinit ForkList list;

}  // namespace

ForkEnlistment::ForkEnlistment(ForkAware& object) : enlisted(object) { list.add(object); }

ForkEnlistment::~ForkEnlistment() { list.remove(enlisted); }

// The lock of the list is held from here until the fork is over, so the list is the same at all three steps.
void lockAllForFork() {
    list.mutex.lock();
    list.forEach(&ForkAware::lockForFork);
}

void unlockAllInParent() {
    list.forEach(&ForkAware::unlockInParent);
    list.mutex.unlock();
}

void unlockAllInChild() {
    list.forEach(&ForkAware::unlockInChild);
    list.mutex.unlock();
}

}  // namespace lumo::logging
