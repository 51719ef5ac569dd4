#include "stage/StageViewController.h"

#include "base/Text.h"
#include "capture/ClipboardWatcher.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterView.h"
#include "platform/Services.h"
#include "stage/BalloonView.h"
#include "workspace/VantleClient.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QDirIterator>
#include <QFileInfo>
#include <QGuiApplication>
#include <QSet>

#include <algorithm>

void StageViewController::updateDropZone() {
    // A drop being taken keeps the zone where the drop left it.
    if (isReceivingFiles) {
        return;
    }
    using Zone = CharacterView::DropZone;
    auto& p = player();
    const Zone wanted = p.isHidden         ? Zone::hidden
                        : areFilesOver     ? Zone::ready
                        : isFileDragActive ? Zone::nearby
                                           : Zone::hidden;
    if (wanted == view().dropZone()) {
        return;
    }
    view().setDropZone(wanted);
    switch (wanted) {
    case Zone::hidden:
        p.stop();
        break;
    case Zone::nearby:
        noteInteraction();
        p.play({QStringLiteral("DropNearby"), QStringLiteral("Wave")}, true);
        break;
    case Zone::ready:
        p.play({QStringLiteral("DropReady"), QStringLiteral("Explain")}, true);
        break;
    }
}

namespace {

const QSet<QString>& uploadable() {
    static const QSet<QString> types{QStringLiteral("pdf"),  QStringLiteral("png"),  QStringLiteral("jpg"),
                                     QStringLiteral("jpeg"), QStringLiteral("webp"), QStringLiteral("gif"),
                                     QStringLiteral("heic"), QStringLiteral("docx"), QStringLiteral("xlsx"),
                                     QStringLiteral("pptx"), QStringLiteral("txt"),  QStringLiteral("csv")};
    return types;
}

QString progress(int done, int total) {
    if (total == 1) {
        return base::pick(QStringLiteral("Saving it to Vantle…"), QStringLiteral("Salvestan Vantlesse…"));
    }
    return base::pick(QStringLiteral("Saving to Vantle… "), QStringLiteral("Salvestan Vantlesse… ")) +
           QStringLiteral("%1/%2").arg(done).arg(total);
}

// One item of a drop, or of a folder in it.
void take(const QFileInfo& info, StageViewController::Picked& picked) {
    // A link may point anywhere, a folder of keys included: only the regular file itself counts.
    if (info.isSymLink() || !info.isFile()) {
        return; // gone, a link, a device, a socket: passed over without a word
    }
    if (!uploadable().contains(info.suffix().toLower()) || info.size() > StageViewController::largestFile) {
        picked.skipped << info.fileName();
        return;
    }
    if (picked.files.size() >= StageViewController::batchLimit) {
        ++picked.leftOut;
    } else {
        picked.files << info.absoluteFilePath();
    }
}

} // namespace

StageViewController::Picked StageViewController::collect(const QStringList& paths) {
    Picked picked;
    for (const auto& path : paths) {
        const QFileInfo info(path);
        if (info.isSymLink() || !info.isDir()) {
            take(info, picked);
            continue;
        }
        // Sub-folders to any depth, in a stable order; hidden entries and links are not taken.
        QStringList entries;
        QDirIterator walk(path, QDir::Files | QDir::NoDotAndDotDot | QDir::NoSymLinks,
                          QDirIterator::Subdirectories);
        while (walk.hasNext()) {
            entries << walk.next();
        }
        entries.sort();
        for (const auto& entry : entries) {
            take(QFileInfo(entry), picked);
        }
    }
    return picked;
}

bool StageViewController::receiveDrop(const QMimeData* data) {
    if (!Capture::kind(data)) {
        return false;
    }
    std::optional<QString> app;
    if (const auto windows = platform::services().activeWindow) {
        if (const auto front = windows->frontmost();
            front && front->pid != QCoreApplication::applicationPid()) {
            app = front->name;
        }
    }
    isReceivingFiles = true;
    areFilesOver = false;
    view().setDropZone(CharacterView::DropZone::hidden);
    noteInteraction();
    player().play({QStringLiteral("Catch"), QStringLiteral("Congratulate")});
    QPointer<StageViewController> self(this);
    Capture::read(data, app, [self](Capture::Captured captured) {
        if (self) {
            self->receive(captured);
        }
    });
    return true;
}

void StageViewController::receive(const Capture::Captured& captured) {
    const Picked picked = collect(captured.files);
    const QStringList emails = captured.emails.mid(0, batchLimit);
    if (picked.files.isEmpty() && picked.skipped.isEmpty() && emails.isEmpty()) {
        isReceivingFiles = false;
        updateDropZone();
        player().stop([self = QPointer<StageViewController>(this)] {
            if (self) {
                self->player().play({QStringLiteral("Confused"), QStringLiteral("Alert")});
            }
        });
        return;
    }
    isReceivingFiles = true;
    view().setDropZone(CharacterView::DropZone::hidden);
    BalloonPanel& panel = makeBalloon(false);
    chatSession.cancel();
    autoDismissWorkItem.cancel();
    pendingAction = nullptr;
    if (!VantleClient::isConfigured()) {
        isReceivingFiles = false;
        showNotConnected(panel);
        placeBalloon();
        return;
    }
    const int total = static_cast<int>(picked.files.size() + emails.size());
    if (total < 1) {
        finishReceiving({}, picked);
        return;
    }
    panel.balloon().setInputShown(false);
    panel.balloon().showMessage(progress(0, total), true, std::nullopt, false, BalloonStatus::working);
    placeBalloon();
    [](QPointer<StageViewController> self, QPointer<BalloonPanel> started, QStringList emails, Picked picked,
       int total) -> QCoro::Task<> {
        Received received;
        int done = 0;
        const auto step = [&] {
            ++done;
            if (self && started && self->balloonPanel == started && done < total) {
                started->balloon().showMessage(progress(done, total), true, std::nullopt, false,
                                               BalloonStatus::working);
                self->placeBalloon();
            }
        };
        const auto failure = [](const QString& path, const VantleClient::ClientError& error) {
            return QFileInfo(path).fileName() + QStringLiteral(" (") + error.localizedDescription() +
                   QLatin1Char(')');
        };
        // One at a time, messages first.
        for (const auto& path : emails) {
            const auto email = co_await VantleClient::forwardEmail(path);
            if (email) {
                received.emails << *email;
            } else {
                received.failed << failure(path, email.error());
            }
            step();
        }
        for (const auto& path : picked.files) {
            const auto document = co_await VantleClient::upload(path);
            if (document) {
                received.documents << *document;
            } else {
                received.failed << failure(path, document.error());
            }
            step();
        }
        if (self) {
            self->finishReceiving(received, picked);
        }
    }(this, &panel, emails, picked, total);
}

void StageViewController::finishReceiving(const Received& received, const Picked& picked) {
    isReceivingFiles = false;
    droppedDocuments += received.documents;
    droppedDocuments = droppedDocuments.mid(std::max<qsizetype>(0, droppedDocuments.size() - 20));
    for (const auto& email : received.emails) {
        if (!email.duplicate) {
            droppedEmails << email;
        }
    }
    droppedEmails = droppedEmails.mid(std::max<qsizetype>(0, droppedEmails.size() - 20));

    QStringList lines;
    for (const auto& email : received.emails.mid(0, 3)) {
        lines << describe(email);
    }
    if (received.emails.size() >= 4) {
        const auto more = received.emails.size() - 3;
        lines << base::pick(QStringLiteral("…and %1 more emails.").arg(more),
                            QStringLiteral("…ja veel %1 kirja.").arg(more));
    }
    const auto n = received.documents.size();
    if (n > 0) {
        const QString folder = received.documents.first().folder;
        lines << base::pick(
            n == 1 ? QStringLiteral("Saved 1 file in Vantle → %1.").arg(folder)
                   : QStringLiteral("Saved %1 files in Vantle → %2.").arg(QString::number(n), folder),
            QStringLiteral("Salvestasin %1 faili Vantlesse → %2.").arg(QString::number(n), folder));
    }
    const auto arrived = n + received.emails.size();
    if (arrived > 0) {
        const bool single = arrived == 1;
        lines << base::pick(single
                                ? QStringLiteral("Tell me what to do with it, or I'll leave it there.")
                                : QStringLiteral("Tell me what to do with them, or I'll leave them there."),
                            single ? QStringLiteral("Ütle, mida sellega teha, või jätan selle sinna.")
                                   : QStringLiteral("Ütle, mida nendega teha, või jätan need sinna."));
    }
    if (!received.failed.isEmpty()) {
        lines << base::pick(QStringLiteral("Couldn't save: "), QStringLiteral("Ei saanud salvestada: ")) +
                     received.failed.join(QStringLiteral(", "));
    }
    if (!picked.skipped.isEmpty() || picked.leftOut > 0) {
        QString names = picked.skipped.mid(0, 5).join(QStringLiteral(", "));
        const auto more = std::max<qsizetype>(0, picked.skipped.size() - 5) + picked.leftOut;
        if (more >= 1) {
            names +=
                base::pick(QStringLiteral(" and %1 more").arg(more), QStringLiteral(" ja veel %1").arg(more));
        }
        lines << base::pick(
            // In one pass: a name holding "%2" stays as it is.
            QStringLiteral("Left out %1: Vantle takes emails, PDFs, images, Word, Excel, PowerPoint, "
                           "text and CSV up to 100 MB, %2 at a time.")
                .arg(names, QString::number(batchLimit)),
            QStringLiteral("Jätsin välja %1: Vantle võtab kirju, PDF-e, pilte, Wordi, Exceli, "
                           "PowerPointi, teksti ja CSV-d kuni 100 MB, korraga %2.")
                .arg(names, QString::number(batchLimit)));
    }
    const bool nothing = arrived == 0;
    BalloonPanel& panel = makeBalloon(!nothing);
    BalloonView& balloon = panel.balloon();
    balloon.setInputShown(!nothing);
    balloon.setPlaceholder(
        base::pick(QStringLiteral("What should I do with it?"), QStringLiteral("Mida sellega teha?")));
    const BalloonStatus status =
        nothing ? BalloonStatus::failure
        : (!received.failed.isEmpty() || !picked.skipped.isEmpty() || picked.leftOut != 0)
            ? BalloonStatus::warning
            : BalloonStatus::success;
    balloon.showMessage(lines.join(QStringLiteral("\n\n")), true, std::nullopt, false, status);
    QList<WebLink> links;
    for (const auto& document : received.documents.mid(0, 4)) {
        if (document.link) {
            links << WebLink{document.name, *document.link};
        }
    }
    balloon.showLinks(links);
    placeBalloon();
    if (!nothing) {
        balloon.focusInput();
    }
    QPointer<StageViewController> self(this);
    player().stop([self, arrived] {
        if (self) {
            self->player().play(arrived > 0
                                    ? QStringList{QStringLiteral("Congratulate"), QStringLiteral("Explain")}
                                    : QStringList{QStringLiteral("Confused"), QStringLiteral("Alert")});
        }
    });
}

QString StageViewController::describe(const ForwardedEmail& email) {
    const QString sender = email.fromName.isEmpty() ? email.fromEmail : email.fromName;
    if (email.duplicate) {
        return base::pick(
            QStringLiteral("Vantle already has “%1” from %2.").arg(email.subject, sender),
            QStringLiteral("Vantles on kiri „%1“ (%2) juba olemas.").arg(email.subject, sender));
    }
    QString list;
    if (!email.attachments.isEmpty()) {
        list = base::pick(QStringLiteral(" (with "), QStringLiteral(" (koos failidega ")) +
               email.attachments.mid(0, 3).join(QStringLiteral(", ")) + QLatin1Char(')');
    }
    return base::pick(QStringLiteral("Filed “%1” from %2%3 in Vantle, as if you'd forwarded it.")
                          .arg(email.subject, sender, list),
                      QStringLiteral("Panin kirja „%1“ (%2)%3 Vantlesse, nagu oleksid selle edasi saatnud.")
                          .arg(email.subject, sender, list));
}

QString StageViewController::emailContext(const QList<ForwardedEmail>& emails) {
    QStringList items;
    for (const auto& email : emails) {
        const QString from = email.fromName.isEmpty()
                                 ? email.fromEmail
                                 : email.fromName + QStringLiteral(" <") + email.fromEmail + QLatin1Char('>');
        items << QStringLiteral("„") + email.subject + QStringLiteral("” — ") + from;
    }
    const QString head = emails.size() == 1
                             ? base::pick(QStringLiteral("[Email I just forwarded to Vantle: "),
                                          QStringLiteral("[Kiri, mille just Vantlesse edastasin: "))
                             : base::pick(QStringLiteral("[Emails I just forwarded to Vantle: "),
                                          QStringLiteral("[Kirjad, mille just Vantlesse edastasin: "));
    return head + items.join(QStringLiteral("; ")) + QLatin1Char(']');
}

void StageViewController::offerClipboard(BalloonPanel& panel) {
    if (!VantleClient::isConfigured()) {
        return;
    }
    const auto offer = ClipboardWatcher::shared().takeOffer();
    if (!offer) {
        return;
    }
    QString object;
    switch (offer->kind) {
    case Capture::Kind::files:
        object = base::pick(QStringLiteral("the copied files"), QStringLiteral("kopeeritud failid"));
        break;
    case Capture::Kind::image:
        object = base::pick(QStringLiteral("the copied image"), QStringLiteral("kopeeritud pildi"));
        break;
    case Capture::Kind::text:
        object = base::pick(QStringLiteral("what you copied"), QStringLiteral("kopeeritu"));
        break;
    }
    const QString clip = QString::fromUtf8("\U0001F4CE ");
    const QString label =
        offer->app
            ? base::pick(clip + QStringLiteral("Attach ") + object + QStringLiteral(" from ") + *offer->app,
                         clip + QStringLiteral("Lisa ") + object + QStringLiteral(" (") + *offer->app +
                             QLatin1Char(')'))
            : base::pick(clip + QStringLiteral("Attach ") + object, clip + QStringLiteral("Lisa ") + object);
    QPointer<StageViewController> self(this);
    panel.balloon().showChoices({ChatChoice{label, std::nullopt}}, [self](const ChatChoice&) {
        if (!self) {
            return;
        }
        self->player().play({QStringLiteral("Catch"), QStringLiteral("Congratulate")});
        // Read now, not when offered: what is on the clipboard at the pick is what goes.
        Capture::read(QGuiApplication::clipboard()->mimeData(), ClipboardWatcher::shared().copiedIn,
                      [self](Capture::Captured captured) {
                          if (self) {
                              self->receive(captured);
                          }
                      });
    });
    placeBalloon();
}
