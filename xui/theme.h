#pragma once

/// True while the user has a high-contrast theme: system colours stand for all others then.
bool IsHighContrast();
