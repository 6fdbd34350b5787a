#pragma once

#include "support/ReportPages.h"

#include <KVBase/KVBackgroundThread.h>

#include <QtCore/QUrl>
#include <QtCore/QVariantMap>
#include <QtWidgets/QDialog>

#include <functional>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

/// The window that an application shows when its user asks for support: what would be sent, on pages that can
/// be read, a place for an address and a few words, and the answer of the server. Nothing blocks it: what is
/// sent is collected by programs of their own, and the post runs on a worker thread.
class SupportWindow : public QDialog {
    Q_OBJECT

public:
    /// `url` is where the form goes; a nil one keeps the report on this machine.
    SupportWindow(const QUrl &url, const ReportSteps &steps, QWidget *parent = nullptr);
    ~SupportWindow() override;

    /// Whether the worker is still at something; the window must not be destroyed while a server keeps it.
    bool isBusy() const { return pending > 0; }

    /// Closing the window ends what is still being collected.
    void done(int result) override;

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
    bool isSent = false;
    bool isAddressValid = false;
    QVariantMap application;
    QVariant crashDate;

    QLabel *crashLabel = nullptr;
    ReportPages *pages = nullptr;
    QLineEdit *addressField = nullptr;
    QLabel *addressReason = nullptr;
    QPlainTextEdit *messageField = nullptr;
    QLabel *statusLabel = nullptr;
    QPushButton *sendButton = nullptr;
    QPushButton *closeButton = nullptr;
};
