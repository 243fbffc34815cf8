#pragma once

/* Shared with the resource compiler: plain definitions only. */
#define IDD_SCANNER 103
#define IDD_EDITOR 104

#define IDC_CANDIDATES 1003
#define IDC_ALL 1004
#define IDC_NONE 1005
