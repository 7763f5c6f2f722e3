#include "views/search_view.h"

#include "core/state.h"

ViewLayout LayoutSearchResults()
{
    ViewLayout layout;
    wxString heading = wxString::Format(wxS("%i"), SearchHitCount);
    heading << wxS(" search results for: ") << (SearchText ? SearchText.get() : L"");
    layout.push_back(TextItem(heading, 10, 16));
    for (std::int32_t j = 0; SearchHits && j < SearchHitCount; ++j)
        layout.push_back(TextItem(SearchHits.get() + std::size_t(j) * SearchHitWidth, 10, 64 + 16 * j));
    return layout;
}
