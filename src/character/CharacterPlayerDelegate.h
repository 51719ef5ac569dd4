#pragma once

#include <memory>

class CharacterPlayer;
class CharacterSheet;

// What the player asks of the stage that owns it.
class CharacterPlayerDelegate {
public:
    virtual void playerWantsToAppear(CharacterPlayer& player) = 0;
    virtual void playerWantsToDisappear(CharacterPlayer& player) = 0;
    virtual void playerWillSwitchTo(CharacterPlayer& player, const CharacterSheet& sheet) = 0;
    virtual void playerDidSwitchTo(CharacterPlayer& player, const CharacterSheet& sheet) = 0;

protected:
    ~CharacterPlayerDelegate() = default;
};
