// The Windows families, and what stands for them here.
#pragma once

#include <QString>
#include <QStringList>

namespace dm::platform {

/// True for an installed family, and for a Windows family if what covers its scripts is installed.
bool isInstalledFamily(const QString &name);
/// The families to draw with, in the order in which they are asked for a character.
QStringList familiesFor(const QString &name);

} // namespace dm::platform
