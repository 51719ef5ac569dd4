#include "capture/Capture.h"

#include <QList>

#include <algorithm>

// Tab-separated text as CSV, apart from the rest of the capture so that it can be tried alone.
namespace Capture {
namespace {

QString csvCell(const QString& cell) {
    if (!cell.contains(QLatin1Char(',')) && !cell.contains(QLatin1Char('"')) &&
        !cell.contains(QLatin1Char('\n')) && !cell.contains(QLatin1Char(';'))) {
        return cell;
    }
    QString quoted = cell;
    quoted.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

} // namespace

std::optional<QString> csv(const QString& tabSeparated) {
    QString text = tabSeparated;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    QStringList lines = text.split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.last().isEmpty()) {
        lines.removeLast();
    }
    if (lines.isEmpty()) {
        return std::nullopt;
    }
    QList<QStringList> rows;
    qsizetype columns = 0;
    for (const auto& line : lines) {
        rows << line.split(QLatin1Char('\t'));
        columns = std::max(columns, rows.last().size());
    }
    if (columns < 2) {
        return std::nullopt;
    }
    if (rows.size() > 1) {
        const auto full = std::count_if(rows.begin(), rows.end(),
                                        [columns](const QStringList& row) { return row.size() == columns; });
        if (static_cast<double>(full) / static_cast<double>(rows.size()) < 0.6) {
            return std::nullopt;
        }
    }
    QString out;
    for (const auto& row : rows) {
        QStringList cells;
        for (const auto& cell : row) {
            cells << csvCell(cell);
        }
        out += cells.join(QLatin1Char(',')) + QLatin1Char('\n');
    }
    return out;
}

} // namespace Capture
