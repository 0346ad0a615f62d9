// ActivationToken: what a desktop gives for an action of the user. A desktop that prevents windows from taking the
// focus raises the one whose program shows it such a token. It is for one use: that of the program's own window, by Qt,
// or that of a program that is started.
#pragma once

#include <QByteArray>

namespace pellora {

// Empty if there is none.
QByteArray ActivationToken();

// Keeps it where Qt and started programs look for it. An empty one, or one too long to be one,
// changes nothing.
void SetActivationToken(const QByteArray& token);

void DropActivationToken();
// Before the application is made: what does not fit into a message of Wayland's ends the connection to the compositor.
void DropOverlongActivationToken();

}  // namespace pellora
