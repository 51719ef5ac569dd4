#include "stage/StageViewController.h"

#include "character/CharacterPlayer.h"
#include "character/CharacterView.h"

void StageViewController::updateDropZone() {
    // A drop being taken keeps the zone where the drop left it.
    if (isReceivingFiles) {
        return;
    }
    using Zone = CharacterView::DropZone;
    auto& p = player();
    const Zone wanted = p.isHidden         ? Zone::hidden
                        : areFilesOver     ? Zone::ready
                        : isFileDragActive ? Zone::nearby
                                           : Zone::hidden;
    if (wanted == view().dropZone()) {
        return;
    }
    view().setDropZone(wanted);
    switch (wanted) {
    case Zone::hidden:
        p.stop();
        break;
    case Zone::nearby:
        noteInteraction();
        p.play({QStringLiteral("DropNearby"), QStringLiteral("Wave")}, true);
        break;
    case Zone::ready:
        p.play({QStringLiteral("DropReady"), QStringLiteral("Explain")}, true);
        break;
    }
}
