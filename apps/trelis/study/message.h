#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace app {

enum class Severity {
    Note,     ///< worth knowing
    Warning,  ///< a number may not mean what it seems to
    Fault     ///< something of the study was left out
};

/// What a person is told about the study or the evaluation.
struct Message {
    Severity severity;
    /// The file, structure or beam that it is about.
    std::string subject;
    /// A sentence without a full stop, UTF-8.
    std::string text;
};

/// All messages in the order in which they came. With a listener each is also handed on at once.
class Messages {
  public:
    using Listener = std::function<void(const Message&)>;

    explicit Messages(Listener listener = nullptr) : listener_(std::move(listener)) {}

    void note(std::string subject, std::string text) {
        add({Severity::Note, std::move(subject), std::move(text)});
    }
    void warn(std::string subject, std::string text) {
        add({Severity::Warning, std::move(subject), std::move(text)});
    }
    void fault(std::string subject, std::string text) {
        add({Severity::Fault, std::move(subject), std::move(text)});
    }

    const std::vector<Message>& all() const { return all_; }

  private:
    void add(Message message) {
        all_.push_back(std::move(message));
        if (listener_) {
            listener_(all_.back());
        }
    }

    Listener listener_;
    std::vector<Message> all_;
};

}  // namespace app
