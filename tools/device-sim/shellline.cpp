#include "shellline.h"

#include <QRegularExpression>

namespace vf::sim {

namespace {

// Words of one statement. Quotes group, backslash escapes outside single
// quotes; there is no expansion of any kind.
QStringList splitWords(const QString& statement) {
    QStringList words;
    QString word;
    bool inWord = false;
    QChar quote;
    for (qsizetype i = 0; i < statement.size(); ++i) {
        const QChar c = statement.at(i);
        if (!quote.isNull()) {
            if (c == quote) {
                quote = QChar();
            } else if (c == u'\\' && quote == u'"' && i + 1 < statement.size() &&
                       QStringView(u"\"\\$`").contains(statement.at(i + 1))) {
                word.append(statement.at(++i));
            } else {
                word.append(c);
            }
        } else if (c == u'"' || c == u'\'') {
            quote = c;
            inWord = true;
        } else if (c == u'\\' && i + 1 < statement.size()) {
            word.append(statement.at(++i));
            inWord = true;
        } else if (c.isSpace()) {
            if (inWord) words.append(word);
            word.clear();
            inWord = false;
        } else {
            word.append(c);
            inWord = true;
        }
    }
    if (inWord) words.append(word);
    return words;
}

// Statements separated by ";" outside quotes.
QStringList splitStatements(const QString& command) {
    QStringList statements;
    QString current;
    QChar quote;
    for (qsizetype i = 0; i < command.size(); ++i) {
        const QChar c = command.at(i);
        if (c == u'\\' && quote != u'\'' && i + 1 < command.size()) {
            current.append(c).append(command.at(++i));
            continue;
        }
        if (!quote.isNull() && c == quote) quote = QChar();
        else if (quote.isNull() && (c == u'"' || c == u'\'')) quote = c;
        if (quote.isNull() && c == u';') {
            statements.append(current);
            current.clear();
        } else {
            current.append(c);
        }
    }
    statements.append(current);
    return statements;
}

bool takeAssignment(const QString& word, QMap<QString, QString>& env) {
    const qsizetype eq = word.indexOf(u'=');
    if (eq <= 0) return false;
    for (qsizetype i = 0; i < eq; ++i) {
        const QChar c = word.at(i);
        if (!(c.isLetterOrNumber() || c == u'_')) return false;
    }
    env.insert(word.left(eq), word.mid(eq + 1));
    return true;
}

}  // namespace

ShellLine parseShellLine(const QString& command) {
    ShellLine line;
    for (const QString& statement : splitStatements(command)) {
        QStringList words = splitWords(statement);
        if (words.isEmpty()) continue;
        if (words.first() == u"export") {
            for (qsizetype i = 1; i < words.size(); ++i) takeAssignment(words.at(i), line.environment);
            continue;
        }
        while (!words.isEmpty() && takeAssignment(words.first(), line.environment)) words.removeFirst();
        if (!words.isEmpty() && words.first() == u"exec") words.removeFirst();
        if (!words.isEmpty()) {
            line.argv = words;
            line.commands.append(words);
        }
    }
    return line;
}

QByteArray toTerminalNewlines(const QByteArray& output) {
    QByteArray converted = output;
    return converted.replace("\n", "\r\n");
}

LogTagFilter::LogTagFilter(const QString& expression) {
    const QStringList parts = expression.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    for (const QString& part : parts) {
        const qsizetype colon = part.lastIndexOf(u':');
        const QString tag = colon < 0 ? part : part.left(colon);
        int pri = 2;
        if (colon < 0) {
            pri = tag == u"*" ? priority('D') : 2;
        } else {
            const QString level = part.mid(colon + 1);
            if (level.size() != 1) continue;
            pri = priority(static_cast<char>(level.at(0).toUpper().toLatin1()));
            if (pri < 0) continue;
        }
        if (tag.isEmpty()) continue;
        if (tag == u"*") defaultPriority_ = pri;
        else rules_.insert(tag, pri);
    }
}

bool LogTagFilter::allows(const QString& tag, char level) const {
    const int linePriority = priority(level == 'A' ? 'F' : level);
    const int threshold = rules_.value(tag, defaultPriority_);
    return linePriority >= 0 && linePriority >= threshold;
}

int LogTagFilter::priority(char level) {
    switch (level) {
        case 'V': return 2;
        case 'D': return 3;
        case 'I': return 4;
        case 'W': return 5;
        case 'E': return 6;
        case 'F': return 7;
        case 'S': return 8;
        default: return -1;
    }
}

}  // namespace vf::sim
