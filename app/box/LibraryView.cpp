#include "app/box/LibraryView.h"

namespace app {
namespace {

constexpr char kLineMark[] = "  | ";

}  // namespace

LibraryView::LibraryView(Way way, bool colour)
    : way_(way),
      lines_(way == Way::beside ? "" : kLineMark, colour && way != Way::keptBack),
      kept_(kLineMark)
{
}

std::string LibraryView::take(const std::string& bytes)
{
    const std::string lines = lines_.feed(bytes);
    return way_ == Way::keptBack ? kept_.take(lines) : lines;
}

std::string LibraryView::keptText() const
{
    std::string text;
    for (const std::string& line : kept_.lines())
    {
        text += kLineMark + line + "\n";
    }
    return text;
}

std::optional<std::deque<std::string>> LibraryView::kept() const
{
    return way_ == Way::keptBack ? std::make_optional(kept_.lines()) : std::nullopt;
}

}  // namespace app
