#pragma once

/// The style sheet of a dictionary's page. It knows light, dark, narrow and paper, and nothing outside the page.
extern const char* const PAGE_STYLE;
