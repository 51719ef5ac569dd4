#pragma once

#include <QImage>

// The status menu's template image: a black shape on transparent pixels, `size` px square.
QImage menuBarIcon(int size);

// The application icon, `size` px square.
QImage applicationIcon(int size);
