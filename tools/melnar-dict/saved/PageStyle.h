#pragma once

/// The style sheet of a dictionary's page. It supports light, dark, narrow and paper, and refers to nothing outside the
/// page.
extern const char* const PAGE_STYLE;
