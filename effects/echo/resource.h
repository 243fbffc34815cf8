#pragma once

#define IDD_ECHO_PAGE 101

/// One row for each parameter: the first id plus the parameter.
#define IDC_FIRST_SLIDER 1010
#define IDC_FIRST_EDIT 1020
