#include <KVBase/KVExport.h>

#include <QtCore/QString>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMessageBox>

/// Runs a critical panel with plain texts until the user dismisses it. The application's thread only.
extern "C" KV_EXPORT void KVBaseRunCriticalAlert(const QString &title, const QString &message,
                                                 const QString &button)
{
    QMessageBox box;
    box.setIcon(QMessageBox::Critical);
    box.setTextFormat(Qt::PlainText);
    box.setWindowTitle(title);
    box.setText(title);
    box.setInformativeText(message);
    // The box's text format does not reach this label, which would read markup and lose line breaks.
    if (auto *const label = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_informativelabel")))
        label->setTextFormat(Qt::PlainText);
    box.addButton(button, QMessageBox::AcceptRole);
    box.exec();
}
