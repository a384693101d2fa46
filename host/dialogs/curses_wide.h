// The curses declarations with wide characters, for the terminal backend's sources only.
#pragma once

#ifndef NCURSES_WIDECHAR
#define NCURSES_WIDECHAR 1
#endif
#include <curses.h>
