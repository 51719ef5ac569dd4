#include "DemoCompany.h"

#include "DemoNotices.h"
#include "SimJson.h"
#include "SimServer.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

namespace {

struct Reply {
    QStringList tools;
    QString text;
    QJsonArray options;
    bool optionsAfterReply = false;
};

bool mentions(const QString& text, std::initializer_list<const char*> words) {
    return std::any_of(words.begin(), words.end(), [&](const char* word) {
        return text.contains(QString::fromUtf8(word), Qt::CaseInsensitive);
    });
}

QJsonObject choice(const QString& label, const QString& ref) {
    return QJsonObject{{QStringLiteral("label"), label}, {QStringLiteral("ref"), ref}};
}

QString opening(const QString& agent) {
    if (agent == QLatin1String("dorn"))
        return QStringLiteral("Looking at the whole company: ");
    if (agent == QLatin1String("lirra"))
        return QStringLiteral("Happy to help. ");
    if (agent == QLatin1String("morvo"))
        return QStringLiteral("Right, on the sales side: ");
    return QStringLiteral("Let me check. ");
}

Reply replyFor(const QString& agent, const QString& message, const QString& choiceRef, int attachmentCount) {
    Reply reply;
    if (choiceRef.startsWith(QLatin1String("email:send"))) {
        reply.tools = {QStringLiteral("send_email")};
        reply.text = QStringLiteral("Sent to Mari Kuusk at Mäe Ehitus. I'll tell you when she answers.");
        return reply;
    }
    if (choiceRef.startsWith(QLatin1String("email:shorter"))) {
        reply.tools = {QStringLiteral("email_draft")};
        reply.text = QStringLiteral("Shorter version:\n\n> Hi Mari, could you send the two open invoices' "
                                    "payment date? Thanks, Kaia");
        reply.options = QJsonArray{choice(QStringLiteral("Send it"), QStringLiteral("email:send:draft-2"))};
        return reply;
    }
    if (choiceRef == QLatin1String("time:log-day")) {
        reply.tools = {QStringLiteral("create_time_entries")};
        reply.text = QStringLiteral("Logged three entries for today: 2h 40m on Harbour Logistics · Route "
                                    "planning, 25m on Mäe Ehitus office move · Planning and 40m on "
                                    "Internal · Administration. See [your timesheet](/time).");
        return reply;
    }
    if (mentions(message, {"Suggest time entries", "Paku selle põhjal"})) {
        reply.tools = {QStringLiteral("get_timesheet"), QStringLiteral("list_projects")};
        reply.text = QStringLiteral("From your day I'd log:\n\n"
                                    "- **Harbour Logistics · Route planning**: 2h 40m (the routes sheet and "
                                    "the Harbour mail)\n"
                                    "- **Mäe Ehitus office move · Planning**: 25m (the floor plan)\n"
                                    "- **Internal · Administration**: 40m (the inbox)\n\n"
                                    "The rest wasn't project work. Shall I log these?");
        reply.options = QJsonArray{choice(QStringLiteral("Log them"), QStringLiteral("time:log-day")),
                                   QStringLiteral("Not now")};
        return reply;
    }
    if (choiceRef.startsWith(QLatin1String("absence:"))) {
        reply.tools = {QStringLiteral("request_absence")};
        reply.text =
            QStringLiteral("I've put in a request for Friday off. Tõnu covers Harbour Logistics that day. "
                           "You can follow it on [your absences page](/time/absences).");
        return reply;
    }
    if (attachmentCount > 0) {
        reply.tools = {QStringLiteral("read_document"), QStringLiteral("search_knowledge")};
        reply.text =
            QStringLiteral("I read the file you sent. It's a price list from Mäe Ehitus; two lines are "
                           "**12% above** last year's contract. See [the old contract]"
                           "(/knowledge/documents/doc-contract-2024) for comparison.");
        reply.options = QJsonArray{QStringLiteral("Compare every line"), QStringLiteral("Draft a reply")};
        return reply;
    }
    if (mentions(message, {"schedule", "calendar", "week", "absence", "vacation", "holiday", "leave",
                           "graafik", "puhkus", "nädal"})) {
        reply.tools = {QStringLiteral("Get_Schedule"), QStringLiteral("get_absences")};
        reply.text =
            QStringLiteral("📅 This week is fairly calm. Tõnu is away on Thursday and Friday, and Mari "
                           "works from the Pärnu office on Wednesday.\n\n"
                           "Your own week: 31h logged of 40, most of it on **Harbour Logistics**. "
                           "The [team calendar](/time/calendar) has the details.");
        reply.options =
            QJsonArray{choice(QStringLiteral("Log today's time"), QStringLiteral("time:log-today")),
                       choice(QStringLiteral("Book a day off"), QStringLiteral("absence:new"))};
        return reply;
    }
    if (mentions(message, {"mail", "reply", "answer", "write to", "kiri", "vasta"})) {
        reply.tools = {QStringLiteral("search_documents"), QStringLiteral("email_draft")};
        reply.text =
            QStringLiteral("Here's a draft for Mari Kuusk:\n\n"
                           "> Hi Mari,\n> Thanks for the quick delivery last week. Two invoices (#2291 "
                           "and #2304) are still open; could you tell me when we can expect payment?\n"
                           "> Best, Kaia\n\nShall I send it?");
        reply.options = QJsonArray{choice(QStringLiteral("Send it"), QStringLiteral("email:send:draft-1")),
                                   choice(QStringLiteral("Make it shorter"), QStringLiteral("email:shorter")),
                                   QStringLiteral("Not now")};
        reply.optionsAfterReply = true;
        return reply;
    }
    if (mentions(message, {"proposal", "offer", "quote", "price", "pakkumine", "hind"})) {
        reply.tools = {QStringLiteral("search_documents"), QStringLiteral("create_proposal")};
        reply.text =
            QStringLiteral("I've drafted the proposal for Harbour Logistics, phase 2: route planning for "
                           "the Muuga terminal, 18 400 € + VAT over six weeks. It reuses the terms of "
                           "phase 1.\n\n[Harbour Logistics — Phase 2](/documents/proposals/prop-2291)");
        reply.options =
            QJsonArray{choice(QStringLiteral("Send for approval"), QStringLiteral("proposal:approve:2291")),
                       choice(QStringLiteral("Change the price"), QStringLiteral("proposal:edit:2291"))};
        return reply;
    }
    if (mentions(message, {"report", "board", "health", "numbers", "revenue", "raport", "käive"})) {
        reply.tools = {QStringLiteral("search_knowledge"), QStringLiteral("list_documents")};
        reply.text =
            QStringLiteral("The company's health score is **72**. Revenue is up 8% on the quarter, but "
                           "12 400 € of invoices are over 30 days late. My full report is on "
                           "[my page](/agents/dorn).");
        return reply;
    }
    if (mentions(message, {"time", "timer", "hours", "timesheet", "aeg", "tunnid"})) {
        reply.tools = {QStringLiteral("get_timesheet")};
        reply.text =
            QStringLiteral("Your timer has been running on *Harbour Logistics · Route planning* since "
                           "this morning. Yesterday you logged 7h 20m; Tuesday still has a gap "
                           "of 2h. Open [your timesheet](/time) to fill it.");
        reply.options =
            QJsonArray{choice(QStringLiteral("Fill the gap"), QStringLiteral("time:fill:tuesday"))};
        return reply;
    }
    reply.tools = {QStringLiteral("search_documents")};
    reply.text =
        opening(agent) +
        QStringLiteral("according to the [Travel policy 2025](/knowledge/documents/doc-travel), trips "
                       "within Estonia need no approval below 300 €; abroad, Kaia approves them. "
                       "The form is at https://intranet.northwind.example/forms/travel.");
    reply.options = QJsonArray{QStringLiteral("Show the whole policy"), QStringLiteral("Thanks!")};
    return reply;
}

} // namespace

DemoCompany::DemoCompany(SimServer& sim) : sim_(sim) {}

void DemoCompany::seed() {
    SimState& state = sim_.state();
    state.setCompanyName(QStringLiteral("Northwind Harbour OÜ"));
    state.addProject({QStringLiteral("prj-harbour"),
                      QStringLiteral("Harbour Logistics"),
                      QStringLiteral("Harbour Logistics AS"),
                      {{QStringLiteral("tsk-routes"), QStringLiteral("Route planning")},
                       {QStringLiteral("tsk-meet"), QStringLiteral("Meetings")}}});
    state.addProject({QStringLiteral("prj-mae"),
                      QStringLiteral("Mäe Ehitus office move"),
                      QStringLiteral("Mäe Ehitus OÜ"),
                      {{QStringLiteral("tsk-plan"), QStringLiteral("Planning")},
                       {QStringLiteral("tsk-site"), QStringLiteral("Site visits")}}});
    state.addProject({QStringLiteral("prj-internal"),
                      QStringLiteral("Internal"),
                      QStringLiteral("Northwind Harbour OÜ"),
                      {{QStringLiteral("tsk-admin"), QStringLiteral("Administration")}}});

    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime today = QDateTime(now.date(), QTime(6, 0), Qt::UTC);
    for (int day = 6; day >= 1; --day) {
        const QDateTime start = today.addDays(-day);
        state.addPastEntry(QStringLiteral("prj-harbour"), QStringLiteral("tsk-routes"), QString(), start,
                           3 * 3600 + 600);
        state.addPastEntry(QStringLiteral("prj-mae"), QStringLiteral("tsk-plan"),
                           QStringLiteral("Floor plan with Mari"), start.addSecs(4 * 3600), 2 * 3600);
        state.addPastEntry(QStringLiteral("prj-internal"), QStringLiteral("tsk-admin"), QString(),
                           start.addSecs(7 * 3600), 45 * 60);
    }
    state.addPastEntry(QString(), QString(), QStringLiteral("Call with the accountant"),
                       today.addDays(-2).addSecs(9 * 3600), 30 * 60, true);
    state.addPastEntry(QString(), QString(), QString(), today.addDays(-1).addSecs(10 * 3600), 20 * 60, true);
    state.startEntryAt(QStringLiteral("prj-harbour"), QStringLiteral("tsk-routes"), QString(),
                       now.addSecs(-47 * 60));

    const QString origin =
        QStringLiteral("http://127.0.0.1:%1").arg(sim_.port()) + SimJson::toQString(sim_.options().base);
    for (const char* name : {"Travel policy 2025.pdf", "Harbour Logistics contract 2024.pdf",
                             "Price list Q3.xlsx", "Onboarding checklist.docx"})
        state.addDocument(QString::fromUtf8(name), QStringLiteral("Policies"), std::string(48213, 'x'),
                          origin);
}

void DemoCompany::start() {
    const int generation = ++generation_;
    sim_.hub().schedule(std::chrono::seconds(sim_.options().demoNoticesAfter),
                        [this, generation] { tick(generation, 0); });
}

void DemoCompany::tick(int generation, int count) {
    if (generation != generation_)
        return;
    const auto& notices = demoNotices();
    const DemoNotice& next = notices[static_cast<std::size_t>(count) % notices.size()];
    switch (next.kind) {
    case DemoNotice::Kind::notification:
        sim_.pushNotification(next.fields);
        break;
    case DemoNotice::Kind::approval:
        sim_.pushApproval(next.fields, {});
        break;
    case DemoNotice::Kind::approvalById: {
        const QString id = SimJson::newId(QStringLiteral("apr"));
        QJsonObject fields = next.fields;
        fields.insert(QStringLiteral("id"), id);
        sim_.pushApproval(fields, {{QStringLiteral("to"), QStringLiteral("/approvals?approvalId=") + id}});
        break;
    }
    }
    sim_.hub().schedule(std::chrono::seconds(SimJson::randomBetween(45, 90)),
                        [this, generation, count] { tick(generation, count + 1); });
}

TurnScript DemoCompany::answer(const QString& agent, const QString& message, const QString& choiceRef,
                               int attachmentCount) const {
    const Reply reply = replyFor(agent, message, choiceRef, attachmentCount);
    if (choiceRef == QLatin1String("time:log-day")) {
        // The entries the answer speaks of, ending now, so that the timesheet shows them.
        SimState& state = sim_.state();
        const QDateTime now = QDateTime::currentDateTimeUtc();
        state.addPastEntry(QStringLiteral("prj-harbour"), QStringLiteral("tsk-routes"), QString(),
                           now.addSecs(-(160 + 25 + 40) * 60), 160 * 60);
        state.addPastEntry(QStringLiteral("prj-mae"), QStringLiteral("tsk-plan"), QString(),
                           now.addSecs(-(25 + 40) * 60), 25 * 60);
        state.addPastEntry(QStringLiteral("prj-internal"), QStringLiteral("tsk-admin"), QString(),
                           now.addSecs(-40 * 60), 40 * 60);
    }
    TurnScript script;
    int first = SimJson::randomBetween(150, 300);
    for (const QString& tool : reply.tools) {
        script.addTool(tool, first, SimJson::randomBetween(350, 700));
        first = 120;
    }
    // Spread the text over about a second and a half.
    const int pieceCount = std::max<int>(1, static_cast<int>(reply.text.size()) / 6);
    script.addStreamedText(reply.text, 200, std::clamp(1500 / pieceCount, 12, 80));
    if (!reply.options.isEmpty() && !reply.optionsAfterReply)
        script.addOptions(reply.options, 60);
    script.addReplyMarker(80);
    if (!reply.options.isEmpty() && reply.optionsAfterReply)
        script.addOptions(reply.options, 150);
    return script;
}
