#pragma once

#include <QIcon>
#include <QImage>

// The program's tray icon, drawn from the one-colour artwork at each size a tray asks for: a
// light figure with a dark rim, so that it stands out on light and dark panels alike. While a
// timer runs the figure is filled with the timer's green. Notices that wait show as a count in
// a red badge at the lower right.
namespace TrayArtwork {

inline constexpr int sizes[] = {16, 20, 22, 24, 32, 40, 44, 48};

QImage image(int size, bool running, int waiting);
QIcon icon(bool running, int waiting);

} // namespace TrayArtwork
