#include "app/cli/LineEditor.h"

#include <fcntl.h>
#include <histedit.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cwchar>

#include "camera/Failure.h"
#include "camera/TextFile.h"

namespace app {
namespace {

constexpr int kHistoryLines = 1000;
constexpr std::size_t kHistoryMax = 1024 * 1024;  // bytes
constexpr char kClearLine[] = "\r\033[K";

// The beginning that all candidates share.
std::string sharedBeginning(const Words& candidates)
{
    std::string shared = candidates.front();
    for (const std::string& candidate : candidates)
    {
        std::size_t length = 0;
        while (length < shared.size() && length < candidate.size() && shared[length] == candidate[length])
        {
            ++length;
        }
        shared.resize(length);
    }
    return shared;
}

std::string inColumns(const Words& words, std::size_t lineWidth)
{
    std::string text = "\n";
    std::size_t width = 0;
    for (const std::string& word : words)
    {
        width = std::max(width, word.size() + 2);
    }
    const std::size_t perLine = std::max<std::size_t>(1, lineWidth / width);
    for (std::size_t i = 0; i < words.size(); ++i)
    {
        text += words[i] + std::string(width - words[i].size(), ' ');
        text += (i + 1) % perLine == 0 || i + 1 == words.size() ? "\n" : "";
    }
    return text;
}

}  // namespace

// What libedit's callbacks reach through its client data.
struct LineEditor::State
{
    State(Terminal& theTerminal, Vocabulary theVocabulary) : terminal(theTerminal), vocabulary(std::move(theVocabulary))
    {
    }

    Terminal& terminal;
    const Vocabulary vocabulary;
    std::string historyFile;
    EditLine* edit = nullptr;
    History* history = nullptr;
    Words entered;  // since the start
    HistEvent event;
    std::FILE* output = nullptr;  // answers and the edited line go the same way
    winsize size = {};
    bool terminalGone = false;

    static State& of(EditLine* edit)
    {
        void* data = nullptr;
        el_get(edit, EL_CLIENTDATA, &data);
        return *static_cast<State*>(data);
    }

    static char* prompt(EditLine*)
    {
        static char text[] = "camera> ";
        return text;
    }

    static int nextCharacter(EditLine* edit, wchar_t* character);
    static unsigned char completeWord(EditLine* edit, int);
    History* readHistory();
    void saveHistory();
    bool waitForInput();
    void lookAtSize();
    void giveUpLine();
};

// A file that libedit cannot read in a moment is no history.
History* LineEditor::State::readHistory()
{
    History* const known = history_init();
    ::history(known, &event, H_SETSIZE, kHistoryLines);
    ::history(known, &event, H_SETUNIQUE, 1);
    try
    {
        if (camera::readFile(historyFile, kHistoryMax))
        {
            ::history(known, &event, H_LOAD, historyFile.c_str());
        }
    }
    catch (const camera::Failure&)
    {
    }
    return known;
}

// Behind what other prompts on the folder have put there meanwhile.
void LineEditor::State::saveHistory()
{
    const int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const int handle = open(historyFile.c_str(), flags, 0600);
    std::FILE* const file = handle < 0 ? nullptr : fdopen(handle, "w");
    struct stat facts;
    if (file == nullptr)
    {
        return;
    }
    if (fstat(handle, &facts) == 0 && S_ISREG(facts.st_mode) && flock(handle, LOCK_EX) == 0)
    {
        History* const merged = readHistory();
        for (const std::string& line : entered)
        {
            ::history(merged, &event, H_ENTER, line.c_str());
        }
        if (ftruncate(handle, 0) == 0)
        {
            ::history(merged, &event, H_SAVE_FP, file);
        }
        history_end(merged);
    }
    std::fclose(file);
}

void LineEditor::State::lookAtSize()
{
    winsize now = {};
    if (ioctl(STDIN_FILENO, TIOCGWINSZ, &now) == 0 && (now.ws_col != size.ws_col || now.ws_row != size.ws_row))
    {
        size = now;
        el_resize(edit);
    }
}

void LineEditor::State::giveUpLine()
{
    const LineInfoW* line = el_wline(edit);
    const bool isEmpty = line->lastchar == line->buffer;
    terminal.print(isEmpty ? "^C\n'quit' or Ctrl-D " + whatEndDoes(terminal) + ".\n" : "^C\n");
    // Only what is left of the cursor can be deleted; both calls count characters.
    el_cursor(edit, static_cast<int>(line->lastchar - line->cursor));
    el_deletestr(edit, static_cast<int>(line->lastchar - line->buffer));
    el_set(edit, EL_REFRESH);
}

// False when the program is to end.
bool LineEditor::State::waitForInput()
{
    while (!terminal.ended())
    {
        if (terminal.takeInterrupt())
        {
            giveUpLine();
        }
        const bool hasInput = terminal.awaitInput();
        lookAtSize();
        const std::string lines = terminal.takeLines();
        if (!lines.empty())
        {
            terminal.answers().write(kClearLine + lines);
            el_set(edit, EL_REFRESH);
        }
        if (hasInput)
        {
            return true;
        }
    }
    return false;
}

int LineEditor::State::nextCharacter(EditLine* edit, wchar_t* character)
{
    State& state = of(edit);
    std::mbstate_t shift = {};
    while (state.waitForInput())
    {
        char byte = 0;
        if (::read(STDIN_FILENO, &byte, 1) != 1)
        {
            state.terminalGone = true;
            return 0;
        }
        const std::size_t used = std::mbrtowc(character, &byte, 1, &shift);
        if (used == static_cast<std::size_t>(-1))
        {
            shift = {};
        }
        else if (used != static_cast<std::size_t>(-2))
        {
            return 1;
        }
    }
    return 0;
}

unsigned char LineEditor::State::completeWord(EditLine* edit, int)
{
    State& state = of(edit);
    const LineInfo* line = el_line(edit);
    const std::string typed(line->buffer, line->cursor);
    const Completion completion = complete(typed, typed.size(), state.vocabulary);
    const Words& fits = completion.candidates;
    const std::string word = typed.substr(completion.begin);
    if (fits.empty())
    {
        return CC_REFRESH_BEEP;
    }
    const std::string shared = sharedBeginning(fits);
    std::string insertion = fits.size() == 1 || shared.size() >= word.size() ? shared : word;
    if (fits.size() == 1 && insertion.back() != '=')
    {
        insertion += ' ';
    }
    if (fits.size() > 1 && toLower(insertion) == toLower(word))
    {
        state.terminal.print(inColumns(fits, static_cast<std::size_t>(state.terminal.columns())));
        return CC_REDISPLAY;
    }
    el_deletestr(edit, static_cast<int>(word.size()));
    el_insertstr(edit, insertion.c_str());
    return CC_REFRESH;
}

std::string whatEndDoes(const Terminal& terminal)
{
    return terminal.endsCamera() ? "ends the camera" : "leaves the camera running";
}

LineEditor::LineEditor(Terminal& terminal, const std::string& historyFile, Vocabulary vocabulary)
    : state_(std::make_unique<State>(terminal, std::move(vocabulary)))
{
    State& state = *state_;
    if (std::setlocale(LC_CTYPE, "") == nullptr || MB_CUR_MAX == 1)
    {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
    state.historyFile = historyFile;
    state.output = fdopen(dup(terminal.answers().descriptor()), "w");
    state.edit = el_init("sensorcam", stdin, state.output, stderr);
    state.history = state.readHistory();
    el_set(state.edit, EL_CLIENTDATA, &state);
    el_set(state.edit, EL_PROMPT, &State::prompt);
    el_set(state.edit, EL_EDITOR, "emacs");
    el_set(state.edit, EL_HIST, history, state.history);
    el_set(state.edit, EL_GETCFN, &State::nextCharacter);
    // The wide form keeps the two texts as they are; the other one copies them and never frees the copies.
    el_wset(state.edit, EL_ADDFN, L"complete", L"complete the word", &State::completeWord);
    // Without it the terminal drops output at Ctrl-C, also what is printed as the answer to it.
    for (const char* mode : {"-d", "-x"})
    {
        el_set(state.edit, EL_SETTY, mode, "+noflsh", nullptr);
    }
    el_set(state.edit, EL_BIND, "^I", "complete", nullptr);
    el_set(state.edit, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    state.lookAtSize();
}

LineEditor::~LineEditor()
{
    state_->saveHistory();
    history_end(state_->history);
    el_end(state_->edit);
    std::fclose(state_->output);
}

LineEditor::Result LineEditor::read(std::string& text)
{
    Terminal& terminal = state_->terminal;
    int count = 0;
    // Before the prompt appears: what is typed at the sight of it must find the editor.
    el_set(state_->edit, EL_PREP_TERM, 1);
    terminal.beginEditing();
    const char* line = el_gets(state_->edit, &count);
    terminal.endEditing();
    if (terminal.ended() || state_->terminalGone)
    {
        terminal.print("\n");
        return Result::end;
    }
    if (line == nullptr || count <= 0)
    {
        text = "quit";  // Ctrl-D
        terminal.print(text + "\n");
        return Result::line;
    }
    text.assign(line, static_cast<std::size_t>(count));
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
    {
        text.pop_back();
    }
    if (text.find_first_not_of(' ') != std::string::npos)
    {
        history(state_->history, &state_->event, H_ENTER, text.c_str());
        state_->entered.push_back(text);
    }
    return Result::line;
}

}  // namespace app
