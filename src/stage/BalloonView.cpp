#include "stage/BalloonView.h"

#include "base/Text.h"
#include "capture/Capture.h"
#include "stage/BalloonStyle.h"
#include "stage/BalloonSurface.h"
#include "stage/BalloonSymbol.h"
#include "stage/ChipFlow.h"
#include "stage/ElidedLabel.h"
#include "stage/LinkRow.h"
#include "stage/MessageText.h"
#include "stage/PillButton.h"
#include "stage/Spinner.h"
#include "stage/SymbolButton.h"
#include "stage/SymbolView.h"

#include <QBoxLayout>
#include <QDragEnterEvent>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QMouseEvent>

#include <algorithm>
#include <initializer_list>

namespace {

constexpr int detailLines = 8;
constexpr int rowWidth = ChipFlow::maxRowWidth;

QString questionPlaceholder() {
    return base::pick(QStringLiteral("Ask me anything…"), QStringLiteral("Küsi minult midagi…"));
}

QLabel* makeLabel(QWidget* parent, const QFont& font, const QColor& color) {
    auto* label = new QLabel(parent);
    label->setFont(font);
    label->setTextFormat(Qt::PlainText);
    QPalette p = label->palette();
    p.setColor(QPalette::WindowText, color);
    label->setPalette(p);
    return label;
}

// Redoes every pending layout from the innermost out, so that sizes read right after a change
// are already true.
void activateLayouts(QWidget* widget) {
    for (auto* child : widget->children()) {
        if (auto* w = qobject_cast<QWidget*>(child); w && !w->isWindow()) {
            activateLayouts(w);
        }
    }
    if (widget->layout()) {
        widget->layout()->activate();
    }
}

} // namespace

BalloonView::BalloonView(QWidget* parent) : QWidget(parent) {
    setFixedWidth(balloonWidth);
    setAcceptDrops(true);
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->setSpacing(8);
    stack->addWidget(makeCard());
    stack->addWidget(makeInputBar());
    setStatus(BalloonStatus::none);
    updateSendButton();
}

QWidget* BalloonView::makeCard() {
    cardSurface = new BalloonSurface(22, this);
    auto* column = new QVBoxLayout(cardSurface);
    column->setContentsMargins(14, 12, 10, 14);
    column->setSpacing(6);
    column->addLayout(makeTitleRow());

    message = new MessageText(cardSurface);
    message->viewport()->installEventFilter(this);
    column->addWidget(message);

    detail = new DetailLabel(rowWidth, detailLines, cardSurface);
    column->addWidget(detail);

    links = new RowList(3, cardSurface);
    column->addWidget(links);

    choiceBox = new ChoiceList(cardSurface);
    choiceBox->onPick = [this](int index) { pick(index); };
    column->addWidget(choiceBox);

    decisionBox = new DecisionRow(cardSurface);
    for (auto* button : {approveButton(), reviewButton(), declineButton()}) {
        button->installEventFilter(this);
    }
    wireDecision();
    column->addWidget(decisionBox);

    hint = makeLabel(cardSurface, BalloonStyle::font(11, QFont::Medium), BalloonStyle::secondaryLabel());
    hint->setWordWrap(true);
    hint->installEventFilter(this);
    hint->hide();
    column->addWidget(hint);
    return cardSurface;
}

QBoxLayout* BalloonView::makeTitleRow() {
    auto* titleRow = new QHBoxLayout;
    titleRow->setSpacing(6);
    icon = new SymbolView(15, cardSurface);
    spinWheel = new Spinner(15, cardSurface);
    titleText = new ElidedLabel(cardSurface);
    titleText->setFont(BalloonStyle::font(13, QFont::DemiBold));
    titleText->setColor(BalloonStyle::label());
    // A long title, such as who wrote in which conversation, takes more lines before it is cut:
    // two are not always enough for a sender and a conversation's name in Estonian.
    titleText->setMaxLines(3);
    titleText->installEventFilter(this);
    closer = new SymbolButton(BalloonSymbol::close, 20, 10, cardSurface);
    closer->setColors(BalloonStyle::tertiaryLabel(), BalloonStyle::secondaryLabel());
    closer->setHoverHalo(true);
    const QString closeText = base::pick(QStringLiteral("Close (Esc)"), QStringLiteral("Sulge (Esc)"));
    closer->setToolTip(closeText);
    closer->setAccessibleName(closeText);
    connect(closer, &QAbstractButton::clicked, this, [this] {
        if (onClose) {
            onClose();
        }
    });
    titleRow->addWidget(icon, 0, Qt::AlignVCenter);
    titleRow->addWidget(spinWheel, 0, Qt::AlignVCenter);
    titleRow->addWidget(titleText, 0, Qt::AlignVCenter);
    titleRow->addStretch(1);
    titleRow->addWidget(closer, 0, Qt::AlignVCenter);
    return titleRow;
}

void BalloonView::wireDecision() {
    // Each answer runs a copy of its closure: it may end the decision that holds it.
    connect(approveButton(), &QAbstractButton::clicked, this, [this] {
        if (decision && decision->approve) {
            const auto act = decision->approve;
            act(comment());
        }
    });
    connect(reviewButton(), &QAbstractButton::clicked, this, [this] {
        if (decision && decision->review) {
            const auto act = decision->review;
            act();
        }
    });
    connect(declineButton(), &QAbstractButton::clicked, this, [this] {
        if (decision && decision->decline) {
            const auto act = decision->decline;
            act(comment());
        }
    });
}

QWidget* BalloonView::makeInputBar() {
    inputBar = new BalloonSurface(18, this);
    inputBar->setFixedHeight(36);
    auto* row = new QHBoxLayout(inputBar);
    row->setContentsMargins(16, 0, 7, 0);
    row->setSpacing(6);

    field = new QLineEdit(inputBar);
    field->setFrame(false);
    field->setFont(BalloonStyle::font(13));
    field->setAcceptDrops(false);
    field->setAttribute(Qt::WA_MacShowFocusRect, false);
    field->setStyleSheet(QStringLiteral("QLineEdit { background: transparent; border: none; padding: 0; "
                                        "color: rgba(0, 0, 0, 217); selection-background-color: "
                                        "rgba(0, 122, 255, 64); selection-color: rgba(0, 0, 0, 217); }"));
    QPalette p = field->palette();
    p.setColor(QPalette::PlaceholderText, BalloonStyle::secondaryLabel());
    field->setPalette(p);
    field->setPlaceholderText(questionPlaceholder());
    field->installEventFilter(this);
    connect(field, &QLineEdit::returnPressed, this, &BalloonView::submitAction);
    connect(field, &QLineEdit::textChanged, this, &BalloonView::updateSendButton);

    send = new SymbolButton(BalloonSymbol::sendArrow, 24, 24, inputBar);
    send->setColors(BalloonStyle::accent(), BalloonStyle::accent().darker(110));
    const QString sendText = base::pick(QStringLiteral("Send"), QStringLiteral("Saada"));
    send->setToolTip(sendText);
    send->setAccessibleName(sendText);
    connect(send, &QAbstractButton::clicked, this, &BalloonView::submitAction);

    row->addWidget(field, 1);
    row->addWidget(send, 0, Qt::AlignVCenter);
    return inputBar;
}

void BalloonView::setStatus(BalloonStatus status) {
    current = status;
    switch (status) {
    case BalloonStatus::none:
    case BalloonStatus::working:
        icon->setSymbol(std::nullopt);
        break;
    case BalloonStatus::success:
        icon->setSymbol(BalloonSymbol::checkmarkCircle, BalloonStyle::green());
        break;
    case BalloonStatus::notice:
        icon->setSymbol(BalloonSymbol::bellBadge, BalloonStyle::accent());
        break;
    case BalloonStatus::warning:
        icon->setSymbol(BalloonSymbol::warningTriangle, BalloonStyle::orange());
        break;
    case BalloonStatus::failure:
        icon->setSymbol(BalloonSymbol::failureOctagon, BalloonStyle::red());
        break;
    }
    spinWheel->setVisible(status == BalloonStatus::working);
}

void BalloonView::showMessage(const QString& text, bool selectable, const std::optional<QString>& hintText,
                              bool isClickable, BalloonStatus status, Qt::TextFormat format) {
    endDecision();
    showLinks({});
    showChoices({}, nullptr);
    message->setMessage(text, format);
    message->setColor(BalloonStyle::label());
    message->setSelectable(selectable);
    setHint(hintText);
    clickable = isClickable;
    setStatus(status);
    updateCursors();
}

void BalloonView::showThinking() {
    showMessage(base::pick(QStringLiteral("Thinking…"), QStringLiteral("Mõtlen…")), true, std::nullopt, false,
                BalloonStatus::working);
    message->setColor(BalloonStyle::secondaryLabel());
}

void BalloonView::setHint(const std::optional<QString>& hintText) {
    const bool shown = hintText && !hintText->isEmpty();
    hint->setText(shown ? *hintText : QString());
    hint->setVisible(shown);
    updateCursors();
}

void BalloonView::setTitle(const QString& title) {
    titleText->setText(title);
}

QString BalloonView::title() const {
    return titleText->text();
}

void BalloonView::setPlaceholder(const QString& text) {
    field->setPlaceholderText(text);
}

void BalloonView::setInputShown(bool shown) {
    inputBar->setVisible(shown);
}

bool BalloonView::isInputShown() const {
    return !inputBar->isHidden();
}

void BalloonView::focusInput() {
    field->setFocus(Qt::OtherFocusReason);
}

void BalloonView::showLinks(const QList<WebLink>& shown) {
    links->clear();
    for (const auto& link : shown) {
        links->add(new LinkRow(link, links), Qt::AlignLeft);
    }
}

QList<LinkRow*> BalloonView::linkRows() const {
    QList<LinkRow*> rows;
    for (auto* row : links->rows()) {
        if (auto* link = qobject_cast<LinkRow*>(row)) {
            rows << link;
        }
    }
    return rows;
}

void BalloonView::showChoices(const QList<ChatChoice>& offered,
                              std::function<void(const ChatChoice&)> onPick) {
    onChoice = std::move(onPick);
    offer = offered;
    choiceBox->setChoices(offered);
}

void BalloonView::pick(int index) {
    if (index < 0 || index >= offer.size() || !onChoice) {
        return;
    }
    const ChatChoice choice = offer[index];
    const auto handler = onChoice;
    showChoices({}, nullptr);
    handler(choice);
}

void BalloonView::showDecision(const QString& detailText, Decision answers) {
    if (detailText.isEmpty()) {
        detail->hide();
    } else {
        detail->setDetail(detailText);
        detail->show();
    }
    decision = std::move(answers);
    decisionBox->show();
    setDecisionEnabled(true);
    setInputShown(true);
    send->hide();
    field->clear();
    field->setPlaceholderText(base::pick(QStringLiteral("Add a comment (optional)"),
                                         QStringLiteral("Lisa kommentaar (soovi korral)")));
    // The window's first focus, whenever the user turns to it, is the comment, not a button.
    field->setFocus(Qt::OtherFocusReason);
}

void BalloonView::endDecision() {
    if (!decision) {
        return;
    }
    decision.reset();
    decisionBox->hide();
    detail->hide();
    send->show();
    field->setEnabled(true);
    field->clear();
    // The field asks questions again: nothing says a comment goes with what follows.
    field->setPlaceholderText(questionPlaceholder());
}

void BalloonView::setDecisionEnabled(bool flag) {
    for (QWidget* w :
         std::initializer_list<QWidget*>{approveButton(), reviewButton(), declineButton(), field}) {
        w->setEnabled(flag);
    }
}

std::optional<QString> BalloonView::comment() const {
    const QString text = field->text().trimmed();
    if (text.isEmpty()) {
        return std::nullopt;
    }
    return text;
}

void BalloonView::updateSendButton() {
    send->setEnabled(!field->text().trimmed().isEmpty());
}

void BalloonView::submitAction() {
    // In a decision the field holds a comment, which goes with a button, never on its own.
    if (decision) {
        return;
    }
    const QString text = field->text().trimmed();
    if (text.isEmpty()) {
        return;
    }
    field->clear();
    send->setEnabled(false);
    if (onSubmit) {
        onSubmit(text);
    }
}

void BalloonView::cancelOperation() {
    if (onClose) {
        onClose();
    }
}

void BalloonView::textClicked() {
    if (clickable && onMessageClick) {
        onMessageClick();
    }
}

void BalloonView::updateCursors() {
    const auto hand = [this](QWidget* w) { return clickable && !w->isHidden(); };
    for (QWidget* w : std::initializer_list<QWidget*>{titleText, hint}) {
        if (hand(w)) {
            w->setCursor(Qt::PointingHandCursor);
        } else {
            w->unsetCursor();
        }
    }
    if (hand(message)) {
        message->viewport()->setCursor(Qt::PointingHandCursor);
    } else {
        message->viewport()->setCursor(message->isSelectable() ? Qt::IBeamCursor : Qt::ArrowCursor);
    }
}

bool BalloonView::eventFilter(QObject* watched, QEvent* event) {
    // A decision button holds the keyboard only when the user tabbed to it: the window's own
    // first focus, a click or a shortcut hands it to the comment field instead, so that a
    // space or Return meant for the comment decides nothing.
    if (event->type() == QEvent::FocusIn &&
        (watched == approveButton() || watched == reviewButton() || watched == declineButton())) {
        const auto reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason != Qt::TabFocusReason && reason != Qt::BacktabFocusReason) {
            auto* button = static_cast<QWidget*>(watched);
            if (field->isVisibleTo(this) && field->isEnabled()) {
                field->setFocus(Qt::OtherFocusReason);
            } else {
                button->clearFocus();
            }
        }
    }
    if (watched == field && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        cancelOperation();
        return true;
    }
    if (event->type() == QEvent::MouseButtonRelease &&
        (watched == titleText || watched == hint || watched == message->viewport())) {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        const auto* w = static_cast<QWidget*>(watched);
        if (mouse->button() == Qt::LeftButton && w->rect().contains(mouse->position().toPoint())) {
            textClicked();
        }
    }
    return QWidget::eventFilter(watched, event);
}

void BalloonView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        cancelOperation();
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}

void BalloonView::dragEnterEvent(QDragEnterEvent* event) {
    drops.enter(event, onFilesOver);
}

void BalloonView::dragMoveEvent(QDragMoveEvent* event) {
    drops.move(event);
}

void BalloonView::dragLeaveEvent(QDragLeaveEvent*) {
    drops.leave(onFilesOver);
}

void BalloonView::dropEvent(QDropEvent* event) {
    drops.drop(event, onDrop);
}

QSize BalloonView::fittingSize(int maxHeight) {
    const auto height = [this] {
        activateLayouts(this);
        return layout()->hasHeightForWidth() ? layout()->totalHeightForWidth(balloonWidth)
                                             : layout()->totalSizeHint().height();
    };
    // Only the message gives way, down to a few lines, and scrolls. Its room is worked out
    // from the rest as it stands, so that a balloon that fits already changes nothing.
    const int others = height() - message->minimumHeight();
    const int fewLines = std::min(message->naturalHeight(), 3 * message->fontMetrics().lineSpacing());
    message->fitHeight(std::max(fewLines, maxHeight - others));
    return {balloonWidth, height()};
}
