// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include <optional>

namespace support {

/// One row of a menu as com.canonical.dbusmenu has it.
struct ExportedRow
{
    int id = 0;
    bool isSeparator = false;
    QString label;
    bool isEnabled = true;
    QString shortcut; ///< "Control+D", empty without one

    /// "---" for a separator, else "+ label" or, when it cannot be chosen, "- label", with the
    /// shortcut behind it in parentheses.
    [[nodiscard]] QString described() const;
};

/// What a panel does with the StatusNotifierItem of a program on a bus, and with its menu.
/// Main thread; calls wait for the program's answers.
class StatusItemClient final : public QObject
{
    Q_OBJECT

public:
    /// The item of `owner` on the bus at `address`.
    StatusItemClient(const QString& address, QString owner);
    ~StatusItemClient() override;

    [[nodiscard]] QVariant property(const QString& name) const;

    /// As a left click at this place.
    void activate(int x, int y) const;

    /// The menu's rows; none when there is no answer.
    [[nodiscard]] std::optional<QVector<ExportedRow>> rows() const;
    [[nodiscard]] QStringList described() const;

    /// Says that the menu is about to be opened.
    [[nodiscard]] bool open() const;

    /// Clicks the row with this label; false when there is none.
    [[nodiscard]] bool click(const QString& label) const;

    /// How often the program has said since the construction that the list of rows has changed, and
    /// how many rows' properties.
    [[nodiscard]] int layoutChanges() const { return m_layoutChanges; }

    [[nodiscard]] int rowChanges() const { return m_rowChanges; }

    /// The text that a host shows for `label`: two underscores are one, any other is gone.
    [[nodiscard]] static QString shownText(const QString& label);

private Q_SLOTS:
    void noteLayout();
    void noteRows(const QDBusMessage& message);

private:
    QDBusMessage call(const QString& path,
                      const QString& interface,
                      const QString& method,
                      const QVariantList& arguments) const;

    QString m_name;
    QDBusConnection m_bus;
    QString m_owner;
    QString m_menuPath;
    int m_layoutChanges = 0;
    int m_rowChanges = 0;
};

} // namespace support
