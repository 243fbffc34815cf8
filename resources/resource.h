#pragma once

/* Shared with the resource compiler: plain definitions only. */
#define IDD_SETTINGS 101
#define IDD_SCANNER 103
#define IDD_EDITOR 104

#define IDI_RESCAN 102
#define IDI_EDITOR 103

/* Settings panel. */
#define IDC_HELP_BUTTON 108
#define IDC_EFFECTS 1001
#define IDC_RESCAN 1002
#define IDC_EDITOR_TOGGLE 1005

/* Scanner. */
#define IDC_CANDIDATES 1003
#define IDC_ALL 1004
#define IDC_NONE 1005
