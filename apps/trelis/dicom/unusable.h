#pragma once

#include <new>
#include <stdexcept>
#include <string>

#include <apps/trelis/study/message.h>

namespace app {

/// Why an object, or a part of one, cannot be used: words that follow the name of its file, such as
/// "has no pixel spacing".
class Unusable : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What was read before the damage says that the file holds an object.
class DamagedObject : public Unusable {
  public:
    using Unusable::Unusable;
};

/// Runs the action; what makes the object unusable becomes a fault about the file. Returns whether
/// all went well.
template <typename Action>
bool reportUnusable(const std::string& file, Messages& messages, Action&& action) {
    try {
        action();
        return true;
    } catch (const Unusable& reason) {
        messages.fault(file, reason.what());
    } catch (const std::bad_alloc&) {
        messages.fault(file, "does not fit into the memory");
    }
    return false;
}

}  // namespace app
