#include "DemoNotices.h"

namespace {

QJsonObject notice(const char* agentId, const char* title, const char* message, const char* tone,
                   const char* to = nullptr) {
    QJsonObject fields{{QStringLiteral("agentId"), QString::fromUtf8(agentId)},
                       {QStringLiteral("title"), QString::fromUtf8(title)},
                       {QStringLiteral("message"), QString::fromUtf8(message)},
                       {QStringLiteral("tone"), QString::fromUtf8(tone)}};
    if (to)
        fields.insert(QStringLiteral("to"), QString::fromUtf8(to));
    return fields;
}

} // namespace

const std::vector<DemoNotice>& demoNotices() {
    using Kind = DemoNotice::Kind;
    static const std::vector<DemoNotice> notices{
        {Kind::notification,
         notice("pelka", "Timesheet gap", "Tuesday has 2 hours without entries.", "warning", "/time")},
        {Kind::approval,
         QJsonObject{{QStringLiteral("agent"), QStringLiteral("Morvo")},
                     {QStringLiteral("action"),
                      QStringLiteral("Send the proposal \"Harbour Logistics — Phase 2\" to the client")},
                     {QStringLiteral("rationale"),
                      QStringLiteral("The client asked for it by Friday; the terms match phase 1.")},
                     {QStringLiteral("payload"),
                      QStringLiteral("Total: 18 400 € + VAT\nDuration: six weeks\nStart: 3 March")},
                     {QStringLiteral("reversible"), false},
                     {QStringLiteral("risk"), QStringLiteral("high")},
                     {QStringLiteral("canDecide"), true}}},
        {Kind::notification,
         notice("person", "Tõnu Kask → Harbour Logistics",
                "Could you look at the Pärnu estimate before 3 pm?", "info", "/inbox/messages/m-4471")},
        {Kind::approvalById,
         QJsonObject{
             {QStringLiteral("agent"), QStringLiteral("Lirra")},
             {QStringLiteral("action"), QStringLiteral("Send a payment reminder to Mäe Ehitus")},
             {QStringLiteral("rationale"), QStringLiteral("Invoices #2291 and #2304 are 34 days late.")},
             {QStringLiteral("risk"), QStringLiteral("low")},
             {QStringLiteral("canDecide"), true}}},
        {Kind::notification,
         notice("Dorn", "Board report ready", "Health score 72: cash flow is the thing to watch.", "info",
                "/agents/dorn")},
        {Kind::notification, notice("person", "Mari Kuusk", "", "info", "/inbox/messages/m-4480")},
        {Kind::approval,
         QJsonObject{{QStringLiteral("agent"), QStringLiteral("Pelka")},
                     {QStringLiteral("action"), QStringLiteral("Approve Tõnu Kask's leave, 12 to 16 May")},
                     {QStringLiteral("rationale"),
                      QStringLiteral("Cover is arranged: Mari takes Harbour Logistics.")},
                     {QStringLiteral("canDecide"), true}}},
        {Kind::notification,
         notice("lirra", "Reminder not sent", "The mail server refused the message to Mäe Ehitus.", "error")},
        {Kind::notification,
         notice("ledger-sync", "Bank statement imported",
                "42 transactions from the bank, 3 to match by hand.", "success", "/finance/bank")},
        {Kind::notification,
         notice("lirra", "Mari Kuusk answered", "The invoices will be paid on Friday.", "info")},
    };
    return notices;
}
