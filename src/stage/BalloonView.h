#pragma once

#include "capture/DropTarget.h"
#include "chat/WebLink.h"
#include "stage/BalloonStatus.h"
#include "stage/ChoiceList.h"
#include "stage/DecisionRow.h"
#include "stage/DetailLabel.h"
#include "workspace/ChatChoice.h"

#include <QList>
#include <QWidget>

#include <functional>
#include <optional>

class BalloonSurface;
class ElidedLabel;
class LinkRow;
class MessageText;
class PillButton;
class QBoxLayout;
class QLabel;
class QLineEdit;
class QMimeData;
class Spinner;
class SymbolButton;
class SymbolView;

// The figure's whole text surface: a card (title row, message, detail, links, choices,
// decision row, hint) and under it a separate input bar. It knows nothing of chats: it shows
// what the stage gives it and reports clicks, text and drops through its closures. The
// balloon's modes are only combinations of what is visible here.
class BalloonView : public QWidget {
    Q_OBJECT
public:
    // The three answers to an approval; approve and decline take the optional comment.
    struct Decision {
        std::function<void(std::optional<QString> comment)> approve;
        std::function<void()> review;
        std::function<void(std::optional<QString> comment)> decline;
    };

    static constexpr int balloonWidth = 290;

    explicit BalloonView(QWidget* parent = nullptr);

    std::function<void(const QString& text)> onSubmit;
    // Title, message or hint clicked while the text is clickable.
    std::function<void()> onMessageClick;
    // The close button or Escape.
    std::function<void()> onClose;
    // A drag that the balloon takes entered (true) or left (false).
    std::function<void(bool over)> onFilesOver;
    std::function<bool(const QMimeData* data)> onDrop;
    // The handler of the choices on offer; cleared by a pick and by any new offer.
    std::function<void(const ChatChoice& choice)> onChoice;

    void setStatus(BalloonStatus status);
    BalloonStatus status() const { return current; }

    // The one sequence that sets the text: ends a decision, clears links and choices, shows
    // the text in the label colour, sets or hides the hint, and sets clickability and status.
    // An answer's text is Markdown.
    void showMessage(const QString& text, bool selectable, const std::optional<QString>& hint, bool clickable,
                     BalloonStatus status, Qt::TextFormat format = Qt::PlainText);
    // "Thinking…" in the secondary colour, with the spinner.
    void showThinking();
    void showLinks(const QList<WebLink>& links);
    // Up to four choices with a ref as chips; five or more go into one pull-down, and those
    // without a ref stay chips beside it.
    void showChoices(const QList<ChatChoice>& offered, std::function<void(const ChatChoice& choice)> onPick);
    // Takes the offer away first, so a second click cannot land, then calls the handler.
    void pick(int index);
    const QList<ChatChoice>& choices() const { return offer; }

    // Decision mode, after showMessage: the detail (hidden when empty), the three buttons, and
    // the input as a comment field without its send button.
    void showDecision(const QString& detail, Decision decision);
    void endDecision();
    void setDecisionEnabled(bool flag);
    bool isDeciding() const { return decision.has_value(); }
    // The input's text, trimmed, or none when that is empty.
    std::optional<QString> comment() const;

    void setTitle(const QString& title);
    QString title() const;
    void setHint(const std::optional<QString>& hint);
    void setPlaceholder(const QString& text);
    void setInputShown(bool shown);
    bool isInputShown() const;
    bool isClickable() const { return clickable; }
    // Puts the keyboard focus into the input field.
    void focusInput();

    // Return in the input or the send button.
    void submitAction();
    // Escape anywhere in the balloon.
    void cancelOperation();

    // The size the balloon needs, at most maxHeight tall: a message too long for that scrolls.
    QSize fittingSize(int maxHeight);

    SymbolView* statusIcon() const { return icon; }
    Spinner* spinner() const { return spinWheel; }
    ElidedLabel* titleLabel() const { return titleText; }
    SymbolButton* closeButton() const { return closer; }
    MessageText* messageLabel() const { return message; }
    QLabel* detailLabel() const { return detail; }
    QWidget* linkList() const { return links; }
    QList<LinkRow*> linkRows() const;
    QWidget* choiceList() const { return choiceBox; }
    QList<PillButton*> choiceButtons() const { return choiceBox->buttons(); }
    QMenu* choiceMenu() const { return choiceBox->menu(); }
    QWidget* decisionRow() const { return decisionBox; }
    PillButton* approveButton() const { return decisionBox->approveButton(); }
    PillButton* reviewButton() const { return decisionBox->reviewButton(); }
    PillButton* declineButton() const { return decisionBox->declineButton(); }
    QLabel* hintLabel() const { return hint; }
    QLineEdit* input() const { return field; }
    SymbolButton* sendButton() const { return send; }
    BalloonSurface* card() const { return cardSurface; }
    BalloonSurface* inputSurface() const { return inputBar; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QWidget* makeCard();
    QBoxLayout* makeTitleRow();
    void wireDecision();
    QWidget* makeInputBar();
    void textClicked();
    void updateSendButton();
    void updateCursors();

    BalloonStatus current = BalloonStatus::none;
    bool clickable = false;
    QList<ChatChoice> offer;
    std::optional<Decision> decision;

    BalloonSurface* cardSurface = nullptr;
    BalloonSurface* inputBar = nullptr;
    SymbolView* icon = nullptr;
    Spinner* spinWheel = nullptr;
    ElidedLabel* titleText = nullptr;
    SymbolButton* closer = nullptr;
    MessageText* message = nullptr;
    DetailLabel* detail = nullptr;
    RowList* links = nullptr;
    ChoiceList* choiceBox = nullptr;
    DecisionRow* decisionBox = nullptr;
    QLabel* hint = nullptr;
    QLineEdit* field = nullptr;
    SymbolButton* send = nullptr;
    Capture::DropTarget drops;
};
