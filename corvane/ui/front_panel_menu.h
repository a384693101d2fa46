// The front-panel menu: the satellite id, the self-timed transmission time and (INSAT with the
// second id in use) the second satellite id edited on the keypad, and a self-timed test
// transmission, without the control panel.
#pragma once

class CCorvane;
class CEngine;
class DisplayIO;

// The text of the module's line in the platform's menu.
inline constexpr wchar_t kMenuEntryText[] = L"Edit Corvane (*)";

// Runs the menu on `display` on the calling thread (the platform's interface thread) until the
// operator leaves it. The whole menu holds the platform setup through `engine` (waiting at most
// 1000 ms for it; when it cannot be had the display says "Setup locked." for 2000 ms and nothing
// changes). A confirmed edit is stored in `corvane`, the setup saved, and a running recording
// stopped and started again so that the transmitter gets the new value.
void RunFrontPanelMenu(DisplayIO& display, CCorvane& corvane, CEngine& engine);
