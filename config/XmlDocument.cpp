#include "config/XmlDocument.h"

#include <algorithm>
#include <cstring>

#include "KSFile.h"
#include "config/ConfigUnit.h"
#include "config/XmlCheck.h"
#include "diag/SensorTrace.h"

using config::kSensorFile;

namespace {

// A report says that a text did not load; this says which byte is to blame. A warning, because those are logged as
// reports are, so the log holds both.
void warnOfText(const diag::Place& place, const char* reason, int line, int column)
{
    diag::warn(place, "XML text refused: %s, line(%d) column(%d)\n", reason, line, column);
}

// Lines and columns count from 1, columns in characters.
void warnOfText(const diag::Place& place, const char* reason, std::string_view textBefore)
{
    const std::string_view line = textBefore.substr(textBefore.rfind('\n') + 1);
    const auto isLead = [](unsigned char octet) { return (octet & 0xC0) != 0x80; };
    warnOfText(place, reason, 1 + static_cast<int>(std::count(textBefore.begin(), textBefore.end(), '\n')),
               1 + static_cast<int>(std::count_if(line.begin(), line.end(), isLead)));
}

void warnOfParser(const diag::Place& place, const TiXmlDocument& document, std::string_view text)
{
    if (document.ErrorRow() > 0)
    {
        warnOfText(place, document.ErrorDesc(), document.ErrorRow(), document.ErrorCol());
        return;
    }
    warnOfText(place, document.ErrorDesc(), text);  // the parser names no place for what is missing at the end
}

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

bool XmlDocument::LoadMem(const char* text, TiXmlEncoding encoding, OnError onError)
{
    // One byte more than is accepted is enough to see that the text is too long.
    const std::size_t length = text == nullptr ? 0 : strnlen(text, config::kXmlBytesMax + 1);
    return load(text == nullptr ? std::string_view("") : std::string_view(text, length), encoding, onError);
}

bool XmlDocument::LoadMem(const std::string& text, TiXmlEncoding encoding)
{
    return load(text, encoding, OnError::empty);
}

bool XmlDocument::load(std::string_view text, TiXmlEncoding encoding, OnError onError)
{
    const config::XmlFault fault = config::xmlFault(text);
    if (fault.reason != nullptr)
    {
        m_objDocument.Clear();
        warnOfText(DIAG_PLACE(kSensorFile), fault.reason, text.substr(0, fault.position));
        return false;
    }
    if (parse(text, encoding, 0))  // no counting of lines and columns, which takes a fifth of the time
    {
        return true;
    }
    if (diag::enabled(diag::Kind::warning))
    {
        parse(text, encoding, 1);
        warnOfParser(DIAG_PLACE(kSensorFile), m_objDocument, text);
    }
    if (onError == OnError::empty)
    {
        m_objDocument.Clear();
    }
    return false;
}

bool XmlDocument::parse(std::string_view text, TiXmlEncoding encoding, int tabSize)
{
    m_objDocument.Clear();
    m_objDocument.SetTabSize(tabSize);
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
    if (*path == '\0' || !print(text))
    {
        return false;
    }
    const unsigned int size = static_cast<unsigned int>(text.size());
    const bool isSaved = file.open(path, KSFile::modeWrite | KSFile::modeTruncate) &&
                         file.write(text.data(), size) == static_cast<int>(size) && file.close();
    if (!isSaved)
    {
        diag::warn(DIAG_PLACE(kSensorFile), "XML text not saved: file_name(%s)\n", path);
    }
    return isSaved;
}

bool XmlDocument::print(std::string& text) const
{
    BoundedPrinter printer;
    m_objDocument.Accept(&printer);
    const config::XmlFault fault = config::xmlFault(printer.Str());
    if (fault.reason != nullptr)
    {
        warnOfText(DIAG_PLACE(kSensorFile), fault.reason, std::string_view(printer.Str()).substr(0, fault.position));
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
