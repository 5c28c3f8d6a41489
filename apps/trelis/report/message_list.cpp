#include <algorithm>
#include <string>
#include <vector>

#include <apps/trelis/report/message_list.h>
#include <apps/trelis/report/wording.h>

namespace app::report {
namespace {

constexpr std::size_t kLongestSubject = 120;
constexpr std::size_t kLongestText = 400;

/// A sentence and all that it is said of.
struct Statement {
    std::string text;
    std::vector<std::string> subjects;
};

std::vector<Statement> statementsOf(const Messages& messages, Severity severity) {
    std::vector<Statement> statements;
    for (const Message& message : messages.all()) {
        if (message.severity != severity) {
            continue;
        }
        auto same = std::find_if(statements.begin(), statements.end(), [&](const Statement& known) {
            return known.text == message.text;
        });
        if (same == statements.end()) {
            same = statements.insert(same, {message.text, {}});
        }
        same->subjects.push_back(message.subject);
    }
    return statements;
}

void putFirst(const std::string& subject, std::vector<Statement>& statements) {
    const auto isIt = [&](const std::string& other) { return other == subject; };
    for (Statement& statement : statements) {
        std::stable_partition(statement.subjects.begin(), statement.subjects.end(), isIt);
    }
    std::stable_partition(statements.begin(), statements.end(), [&](const Statement& statement) {
        return isIt(statement.subjects.front());
    });
}

Markup itemOf(const Statement& statement) {
    Markup subjects;
    for (const std::string& subject : statement.subjects) {
        subjects +=
            markup("{}<bdi class=\"subject\">{}</bdi>", Markup{subjects.text.empty() ? "" : ", "},
                   shortened(subject, kLongestSubject));
    }
    return markup("<li>{} <bdi>{}</bdi></li>\n", subjects, shortened(statement.text, kLongestText));
}

Markup itemsOf(const std::vector<Statement>& statements, std::size_t first, std::size_t end) {
    Markup items;
    for (std::size_t i = first; i < end; ++i) {
        items += itemOf(statements[i]);
    }
    return markup("<ul>\n{}</ul>", items);
}

Markup foldedItems(const std::vector<Statement>& statements, std::size_t first) {
    return markup("<details><summary>and {} more</summary>{}</details>\n",
                  statements.size() - first, itemsOf(statements, first, statements.size()));
}

Markup listOf(const ReportData& data, Severity severity, const char* kind, const char* title) {
    constexpr std::size_t kUnfoldedNotes = 12;
    std::vector<Statement> statements = statementsOf(data.messages, severity);
    if (statements.empty()) {
        return {};
    }
    if (data.target) {
        putFirst(data.evaluation.structures[*data.target].name, statements);
    }
    const bool folds = severity == Severity::Note && statements.size() > kUnfoldedNotes;
    const std::size_t unfolded = folds ? kUnfoldedNotes : statements.size();
    return markup(
        "<div class=\"messages {}\"><h3>{} <span class=\"count\">{}</span></h3>{}{}</div>\n", kind,
        title, countOf(data.messages, severity), itemsOf(statements, 0, unfolded),
        folds ? foldedItems(statements, unfolded) : Markup{});
}

}  // namespace

std::size_t countOf(const Messages& messages, Severity severity) {
    return static_cast<std::size_t>(
        std::count_if(messages.all().begin(), messages.all().end(),
                      [&](const Message& message) { return message.severity == severity; }));
}

Markup messageList(const ReportData& data) {
    Markup lists = listOf(data, Severity::Fault, "faults", "Left out");
    lists += listOf(data, Severity::Warning, "warnings", "Warnings");
    lists += listOf(data, Severity::Note, "notes", "Notes");
    return lists;
}

}  // namespace app::report
