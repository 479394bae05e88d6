#ifndef QVCORE_CORE_NOTCOPYABLE_H
#define QVCORE_CORE_NOTCOPYABLE_H

/// Base of classes whose objects own something that must not be duplicated (streams,
/// threads, factories): copying and assignment are not available, and the base cannot be
/// made or destroyed on its own.
class NotCopyable {
protected:
    NotCopyable() {}
    ~NotCopyable() {}

public:
    NotCopyable(const NotCopyable &) = delete;
    NotCopyable &operator=(const NotCopyable &) = delete;
};

#endif
