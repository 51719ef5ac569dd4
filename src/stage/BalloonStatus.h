#pragma once

// The small icon at the head of the balloon's card, in this order.
enum class BalloonStatus {
    none,    // no icon
    working, // the spinner runs
    success,
    notice,
    warning,
    failure,
};
