#pragma once

/* Shared with the resource compiler: plain definitions only. */
#define IDD_EDITOR 104
