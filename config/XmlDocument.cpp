#include "XmlDocument.h"

#include <cstring>

#include "KSFile.h"
#include "XmlCheck.h"

namespace {

// Stops soon after the text has become too long: four million bytes of nested elements print as hundreds of
// millions.
class BoundedPrinter : public TiXmlPrinter
{
public:
    using TiXmlPrinter::VisitExit;

    bool VisitExit(const TiXmlElement& element) override { return TiXmlPrinter::VisitExit(element) && fits(); }
    bool Visit(const TiXmlDeclaration& declaration) override { return TiXmlPrinter::Visit(declaration) && fits(); }
    bool Visit(const TiXmlText& text) override { return TiXmlPrinter::Visit(text) && fits(); }
    bool Visit(const TiXmlComment& comment) override { return TiXmlPrinter::Visit(comment) && fits(); }
    bool Visit(const TiXmlUnknown& unknown) override { return TiXmlPrinter::Visit(unknown) && fits(); }

private:
    bool fits() { return Size() <= config::kXmlBytesMax; }
};

}  // namespace

bool XmlDocument::LoadMem(const char* text, TiXmlEncoding encoding)
{
    // One byte more than is accepted is enough to see that the text is too long.
    const std::size_t length = text == nullptr ? 0 : strnlen(text, config::kXmlBytesMax + 1);
    return load(text == nullptr ? std::string_view("") : std::string_view(text, length), encoding);
}

bool XmlDocument::LoadMem(const std::string& text, TiXmlEncoding encoding)
{
    return load(text, encoding);
}

bool XmlDocument::load(std::string_view text, TiXmlEncoding encoding)
{
    m_objDocument.Clear();
    m_objDocument.SetTabSize(0);  // no counting of rows and columns, which takes a fifth of the time to parse
    if (!config::isSafeXml(text))
    {
        return false;
    }
    // Parse returns null on success too.
    m_objDocument.Parse(text.data(), nullptr, encoding);
    return !m_objDocument.Error();
}

std::string XmlDocument::getXmlString() const
{
    std::string text;
    print(text);
    return text;
}

bool XmlDocument::SaveFile(const char* path) const
{
    KSFile file;
    std::string text;
    if (*path == '\0' || !print(text) || !file.open(path, KSFile::modeWrite | KSFile::modeTruncate))
    {
        return false;
    }
    const unsigned int size = static_cast<unsigned int>(text.size());
    return file.write(text.data(), size) == static_cast<int>(size) && file.close();
}

bool XmlDocument::print(std::string& text) const
{
    BoundedPrinter printer;
    m_objDocument.Accept(&printer);
    if (!config::isSafeXml(printer.Str()))
    {
        return false;
    }
    text = printer.Str();
    return true;
}

TiXmlElement* XmlDocument::RootElement()
{
    return m_objDocument.RootElement();
}

TiXmlDocument* XmlDocument::document()
{
    return &m_objDocument;
}
