#pragma once

#include <KVBase/KVBackgroundThread.h>

#include <QtCore/QUrl>
#include <QtCore/QVariantMap>
#include <QtWidgets/QWidget>

#include <functional>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;

/// The window that an application shows when its user asks for support: what would be sent, on pages that can
/// be read, a place for an address and a few words, and the answer of the server. What may block runs on a
/// worker thread.
class SupportWindow : public QWidget {
    Q_OBJECT

public:
    /// `url` is where the form goes; a nil one keeps the report on this machine.
    explicit SupportWindow(const QUrl &url, QWidget *parent = nullptr);
    ~SupportWindow() override;

    /// Whether the worker is still at something; the window must not be destroyed while a tool hangs there.
    bool isBusy() const { return pending > 0; }

Q_SIGNALS:
    /// Everything that would be sent is on its page.
    void collected();

    /// The post has ended; without success the window says why and can send again.
    void posted(bool success);

private:
    void build();
    QWidget *makeHead();
    QWidget *makeEntryFields();
    QWidget *makeFoot();
    QPlainTextEdit *addPage(const QString &title, const QString &objectName);

    void collect();
    void showCrash(const QVariantMap &found);
    void validate();
    void updateSendButton();
    QVariantMap form() const;
    void send();
    void showAnswer(const QVariantMap &result);

    /// Runs `work` on the worker, then `done` with its answer here.
    void onWorker(const std::function<QVariantMap()> &work,
                  const std::function<void(const QVariantMap &)> &done);

    QUrl target;
    KVBase::Ref<KVBase::KVBackgroundThread> worker;
    int pending = 0;
    bool isCollected = false;
    bool isAddressValid = false;
    QVariantMap application;
    QVariant crashDate;

    QLabel *crashLabel = nullptr;
    QTabWidget *pages = nullptr;
    QPlainTextEdit *crashPage = nullptr;
    QPlainTextEdit *consolePage = nullptr;
    QPlainTextEdit *profilePage = nullptr;
    QLineEdit *addressField = nullptr;
    QLabel *addressReason = nullptr;
    QPlainTextEdit *messageField = nullptr;
    QLabel *statusLabel = nullptr;
    QPushButton *sendButton = nullptr;
};
