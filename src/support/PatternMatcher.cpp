#include "support/PatternMatcher.h"

#include <memory>

#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

namespace {

struct CompileFault {
    int code;
};

// Abbreviations: the first character names the entry, the rest is compiled
// as a repeat, so only the part of \q before its bar ever takes effect.
const wchar_t* const kAbbreviations[] = {
    L"a([a-zA-Z0-9])",
    L"b([ \\t])",
    L"c([a-zA-Z])",
    L"d([0-9])",
    L"h([0-9a-fA-F])",
    L"n(\r|(\r?\n))",
    L"q(\"[^\"]*\")|('[^']*')",
    L"w([a-zA-Z]+)",
    L"z([0-9]+)",
};

std::uint32_t Unit(wchar_t ch) {
    return static_cast<std::uint32_t>(ch);
}

} // namespace

// Recursive descent over pattern, sequence, alternation, repeat and term,
// appending to the matcher's program as it reads.
class PatternCompiler {
public:
    explicit PatternCompiler(PatternMatcher& target) : m_out(target) {}

    void CompilePattern(const wchar_t* pattern) {
        m_text = pattern;
        m_length = std::wcslen(pattern);
        Emit(PatternOp::Call, 2);
        if (m_length > 0 && m_text[0] == L'^') {
            Emit(PatternOp::Fail);
            m_pos = 1;
        } else {
            Emit(PatternOp::Advance);
        }
        bool canBeEmpty = true;
        Sequence(canBeEmpty);
        // Whatever stands behind a stray closing bracket is ignored.
        Emit(PatternOp::Accept);
    }

private:
    struct Mark {
        std::size_t size;
        unsigned groups;
        unsigned memory;
        std::size_t pos;
    };

    class Nesting {
    public:
        explicit Nesting(int& depth) : m_depth(depth) {
            if (++m_depth > PatternMatcher::kMaxNesting)
                throw CompileFault{kPatternOutOfMemory};
        }
        ~Nesting() { --m_depth; }
        Nesting(const Nesting&) = delete;
        Nesting& operator=(const Nesting&) = delete;

    private:
        int& m_depth;
    };

    bool AtEnd() const { return m_pos >= m_length; }
    wchar_t Peek() const { return AtEnd() ? L'\0' : m_text[m_pos]; }
    wchar_t PeekAt(std::size_t at) const { return at < m_length ? m_text[at] : L'\0'; }

    void Charge() {
        if (++m_work > PatternMatcher::kMaxCompileWork)
            throw CompileFault{kPatternOutOfMemory};
    }

    std::size_t Emit(PatternOp op, std::uint64_t operand = 0) {
        Charge();
        if (m_out.m_program.size() >= PatternMatcher::kMaxInstructions)
            throw CompileFault{kPatternOutOfMemory};
        m_out.m_program.push_back({op, operand});
        return m_out.m_program.size() - 1;
    }
    std::size_t Here() const { return m_out.m_program.size(); }
    void Patch(std::size_t at, std::size_t target) { m_out.m_program[at].operand = target; }
    unsigned NewMemory() { return m_out.m_memoryCount++; }

    Mark Save() const { return {Here(), m_out.m_groupCount, m_out.m_memoryCount, m_pos}; }
    void CutBack(const Mark& mark, bool rewind = true) {
        m_out.m_program.resize(mark.size);
        m_out.m_groupCount = mark.groups;
        m_out.m_memoryCount = mark.memory;
        if (rewind)
            m_pos = mark.pos;
    }

    void Sequence(bool& canBeEmpty) {
        canBeEmpty = true;
        bool part = false;
        while (Alternation(part))
            canBeEmpty = canBeEmpty && part;
    }

    // Gives false where no alternation stands, or where a bar has no term
    // behind it; both end the sequence.
    bool Alternation(bool& canBeEmpty) {
        const Mark whole = Save();
        bool left = false;
        if (!Repeat(left))
            return false;
        if (AtEnd() || Peek() != L'|') {
            canBeEmpty = left;
            return true;
        }
        // l|r|s nests to the right; every frame ends where the last side ends,
        // so the chain is built in a loop and the end jumps patched together.
        CutBack(whole);
        std::vector<std::size_t> endJumps;
        bool anyEmpty = false;
        for (;;) {
            Emit(PatternOp::PushCharPos);
            const std::size_t callLeft = Emit(PatternOp::Call);
            Emit(PatternOp::PopCharPos);
            const std::size_t jumpRight = Emit(PatternOp::Jump);
            Patch(callLeft, Here());
            Repeat(left);
            anyEmpty = anyEmpty || left;
            ++m_pos; // the bar
            endJumps.push_back(Emit(PatternOp::Jump));
            Patch(jumpRight, Here());

            const Mark side = Save();
            bool right = false;
            if (!Repeat(right)) {
                CutBack(whole, false);
                return false;
            }
            if (AtEnd() || Peek() != L'|') {
                anyEmpty = anyEmpty || right;
                break;
            }
            CutBack(side);
        }
        for (std::size_t at : endJumps)
            Patch(at, Here());
        canBeEmpty = anyEmpty;
        return true;
    }

    bool Repeat(bool& canBeEmpty) {
        const Mark mark = Save();
        bool term = false;
        if (!Term(term))
            return false;
        const wchar_t op = Peek();
        if (AtEnd() || (op != L'*' && op != L'+' && op != L'?')) {
            canBeEmpty = term;
            return true;
        }
        const bool lazy = PeekAt(m_pos + 1) == L'?';
        const std::size_t behind = m_pos + (lazy ? 2 : 1);
        const PatternOp first = m_out.m_program[mark.size].op;
        CutBack(mark);
        if (op != L'?' && term)
            throw CompileFault{kPatternEmptyRepeat};

        if (op == L'+') {
            // The first turn is mandatory; the loop repeats it with the same groups.
            bool ignored = false;
            Term(ignored);
            m_out.m_groupCount = mark.groups;
            m_pos = mark.pos;
        }
        if (lazy && op == L'?')
            LazyOptional(first);
        else if (lazy)
            LazyLoop();
        else
            GreedyLoop(op != L'?');
        m_pos = behind;
        canBeEmpty = lazy || op != L'+';
        return true;
    }

    // x* and x? (and the loop of x+). The turn's start stays in memory m,
    // saved and restored with the stack, so a turn that consumes nothing fails.
    void GreedyLoop(bool loop) {
        const unsigned m = NewMemory();
        const std::size_t top = Emit(PatternOp::PushMemory, m);
        Emit(PatternOp::StoreCharPos, m);
        Emit(PatternOp::PushCharPos);
        const std::size_t callBody = Emit(PatternOp::Call);
        Emit(PatternOp::PopCharPos);
        Emit(PatternOp::PopMemory, m);
        const std::size_t jumpEnd = Emit(PatternOp::Jump);
        Patch(callBody, Here());
        bool ignored = false;
        Term(ignored);
        Emit(PatternOp::RetNoMatch, m);
        if (loop)
            Emit(PatternOp::Jump, top);
        Patch(jumpEnd, Here());
    }

    // x*? (and the loop of x+?): the rest of the pattern first, then one more
    // turn from the same position. A turn that consumes nothing (a
    // back-reference to an empty group) fails, so the loop cannot spin.
    void LazyLoop() {
        const unsigned m = NewMemory();
        const std::size_t top = Emit(PatternOp::PushMemory, m);
        Emit(PatternOp::StoreCharPos, m);
        Emit(PatternOp::PushCharPos);
        const std::size_t callRest = Emit(PatternOp::Call);
        Emit(PatternOp::PopCharPos);
        const std::size_t callBody = Emit(PatternOp::Call);
        Emit(PatternOp::PopMemory, m);
        Emit(PatternOp::Return);
        Patch(callBody, Here());
        bool ignored = false;
        Term(ignored);
        Emit(PatternOp::RetNoMatch, m);
        Emit(PatternOp::Jump, top);
        Patch(callRest, Here());
    }

    // x??: the skip is tried first only where x is a single step (a character,
    // '.', a set or a back-reference); on anything longer the skip lands inside
    // x and x is mandatory, so a longer x is compiled plainly.
    void LazyOptional(PatternOp first) {
        bool ignored = false;
        if (first != PatternOp::Symbol && first != PatternOp::Any && first != PatternOp::RangeSet &&
            first != PatternOp::NotRangeSet && first != PatternOp::Previous) {
            Term(ignored);
            return;
        }
        Emit(PatternOp::PushCharPos);
        const std::size_t callRest = Emit(PatternOp::Call);
        Emit(PatternOp::PopCharPos);
        Term(ignored);
        Patch(callRest, Here());
    }

    // Gives false, reading nothing, at a closing bracket or the end.
    bool Term(bool& canBeEmpty) {
        if (AtEnd())
            return false;
        const wchar_t ch = m_text[m_pos];
        switch (ch) {
        case L')':
        case L']':
        case L'}':
            return false;
        case L'(':
            Paren(canBeEmpty);
            return true;
        case L'{':
            Capture(canBeEmpty);
            return true;
        case L'[':
            Set();
            canBeEmpty = false;
            return true;
        case L'.':
            ++m_pos;
            Emit(PatternOp::Any);
            canBeEmpty = false;
            return true;
        case L'!':
            LookAhead();
            canBeEmpty = true;
            return true;
        case L'\\':
            Escape(canBeEmpty);
            return true;
        case L'$':
            ++m_pos;
            Emit(PatternOp::Symbol, m_pos == m_length && !m_inAbbreviation ? 0 : Unit(ch));
            canBeEmpty = false;
            return true;
        default:
            ++m_pos;
            Emit(PatternOp::Symbol, Unit(ch));
            canBeEmpty = false;
            return true;
        }
    }

    void Paren(bool& canBeEmpty) {
        Nesting nesting(m_depth);
        ++m_pos;
        const std::size_t callBody = Emit(PatternOp::Call);
        Emit(PatternOp::Return);
        const std::size_t body = Here();
        Patch(callBody, body);
        Sequence(canBeEmpty);
        if (AtEnd() || Peek() != L')')
            throw CompileFault{kPatternParenExpected};
        ++m_pos;
        if (Here() == body)
            Emit(PatternOp::Nop);
    }

    void Capture(bool& canBeEmpty) {
        Nesting nesting(m_depth);
        ++m_pos;
        const unsigned g = m_out.m_groupCount++;
        Emit(PatternOp::PushGroup, g);
        Emit(PatternOp::GroupStart, g);
        const std::size_t callBody = Emit(PatternOp::Call);
        Emit(PatternOp::PopGroup, g);
        Emit(PatternOp::Return);
        Patch(callBody, Here());
        Sequence(canBeEmpty);
        if (AtEnd() || Peek() != L'}')
            throw CompileFault{kPatternBraceExpected};
        ++m_pos;
        Emit(PatternOp::GroupEnd, g);
    }

    std::uint32_t SetCharacter() {
        if (AtEnd())
            throw CompileFault{kPatternBracketExpected};
        wchar_t ch = m_text[m_pos++];
        if (ch == L'\\') {
            if (AtEnd())
                throw CompileFault{kPatternBracketExpected};
            ch = m_text[m_pos++];
            if (ch == L't')
                ch = L'\t';
        }
        return Unit(ch);
    }

    void Set() {
        ++m_pos;
        bool negated = false;
        if (Peek() == L'^' && !AtEnd()) {
            negated = true;
            ++m_pos;
        }
        std::vector<std::uint32_t> bounds;
        for (;;) {
            if (AtEnd())
                throw CompileFault{kPatternBracketExpected};
            if (m_text[m_pos] == L']') {
                ++m_pos;
                break;
            }
            const std::uint32_t low = SetCharacter();
            std::uint32_t high = low;
            if (!AtEnd() && m_text[m_pos] == L'-') {
                ++m_pos;
                if (AtEnd() || m_text[m_pos] == L']')
                    throw CompileFault{kPatternBracketExpected};
                high = SetCharacter();
                if (low > high)
                    throw CompileFault{kPatternReversedRange};
            }
            Charge();
            bounds.push_back(low);
            bounds.push_back(high);
        }
        if (bounds.empty())
            throw CompileFault{kPatternEmptySet};
        Emit(negated ? PatternOp::NotRangeSet : PatternOp::RangeSet, Here() + 1 + bounds.size());
        for (std::uint32_t bound : bounds)
            Emit(PatternOp::Nop, bound);
    }

    // !x. Groups opened inside x are saved before and restored after, since a
    // matching x leaves the look-ahead by cutting the stack, not by backtracking.
    void LookAhead() {
        Nesting nesting(m_depth);
        ++m_pos;
        const unsigned c = NewMemory();
        const unsigned s = NewMemory();
        const unsigned firstGroup = m_out.m_groupCount;
        Emit(PatternOp::StoreCharPos, c);
        const std::size_t toSave = Emit(PatternOp::Nop);
        const std::size_t stored = Emit(PatternOp::StoreStackPos, s);
        const std::size_t callBody = Emit(PatternOp::Call);
        Emit(PatternOp::GetCharPos, c);
        Emit(PatternOp::GetStackPos, s);
        const std::size_t leave = Emit(PatternOp::Jump);
        Patch(callBody, Here());
        bool ignored = false;
        if (!Term(ignored))
            Emit(PatternOp::Nop); // nothing behind '!': an empty look-ahead, which always matches
        Emit(PatternOp::GetCharPos, c);
        Emit(PatternOp::GetStackPos, s);
        const std::size_t matched = Emit(PatternOp::Return);
        const unsigned lastGroup = m_out.m_groupCount;
        if (lastGroup == firstGroup) {
            Patch(leave, Here());
            return;
        }
        m_out.m_program[toSave] = {PatternOp::Jump, Here()};
        for (unsigned g = firstGroup; g < lastGroup; ++g)
            Emit(PatternOp::PushGroup, g);
        Emit(PatternOp::Jump, stored);
        Patch(leave, Here());
        for (unsigned g = lastGroup; g-- > firstGroup;)
            Emit(PatternOp::PopGroup, g);
        const std::size_t jumpEnd = Emit(PatternOp::Jump);
        m_out.m_program[matched] = {PatternOp::Jump, Here()};
        for (unsigned g = lastGroup; g-- > firstGroup;)
            Emit(PatternOp::PopGroup, g);
        Emit(PatternOp::Return);
        Patch(jumpEnd, Here());
    }

    void Escape(bool& canBeEmpty) {
        ++m_pos;
        canBeEmpty = false;
        if (AtEnd()) {
            // A lone backslash at the end stands for itself.
            Emit(PatternOp::Symbol, Unit(L'\\'));
            return;
        }
        const wchar_t ch = m_text[m_pos];
        if (ch >= L'0' && ch <= L'9') {
            std::uint64_t number = 0;
            while (!AtEnd() && m_text[m_pos] >= L'0' && m_text[m_pos] <= L'9') {
                Charge();
                if (number <= m_out.m_groupCount)
                    number = number * 10 + static_cast<std::uint64_t>(m_text[m_pos] - L'0');
                ++m_pos;
            }
            if (number >= m_out.m_groupCount)
                throw CompileFault{kPatternBadGroup};
            Emit(PatternOp::Previous, number);
            return;
        }
        for (const wchar_t* entry : kAbbreviations) {
            if (entry[0] == ch) {
                ++m_pos;
                Abbreviation(entry + 1, canBeEmpty);
                return;
            }
        }
        ++m_pos;
        Emit(PatternOp::Symbol, Unit(ch));
    }

    void Abbreviation(const wchar_t* body, bool& canBeEmpty) {
        const wchar_t* const text = m_text;
        const std::size_t length = m_length;
        const std::size_t pos = m_pos;
        const bool inAbbreviation = m_inAbbreviation;
        m_text = body;
        m_length = std::wcslen(body);
        m_pos = 0;
        m_inAbbreviation = true;
        try {
            Nesting nesting(m_depth);
            Repeat(canBeEmpty);
        } catch (...) {
            throw CompileFault{kPatternBadAbbreviation};
        }
        m_text = text;
        m_length = length;
        m_pos = pos;
        m_inAbbreviation = inAbbreviation;
    }

    PatternMatcher& m_out;
    const wchar_t* m_text = L"";
    std::size_t m_length = 0;
    std::size_t m_pos = 0;
    int m_depth = 0;
    std::uint64_t m_work = 0;
    bool m_inAbbreviation = false;
};

int PatternMatcher::Parse(const wchar_t* pattern) {
    m_program.clear();
    m_groupCount = 0;
    m_memoryCount = 0;
    if (!pattern) {
        m_error = kPatternNullInput;
        return m_error;
    }
    m_error = kPatternOk;
    try {
        PatternCompiler compiler(*this);
        compiler.CompilePattern(pattern);
    } catch (const CompileFault& fault) {
        m_error = fault.code;
    } catch (const std::bad_alloc&) {
        m_error = kPatternOutOfMemory;
    }
    if (m_error != kPatternOk) {
        m_program.clear();
        m_program.shrink_to_fit();
        m_groupCount = 0;
        m_memoryCount = 0;
    }
    return m_error;
}

const PatternInstruction& PatternMatcher::GetInstruction(std::size_t index) const {
    if (index >= m_program.size())
        throw PatternArgumentError();
    return m_program[index];
}

std::uint64_t PatternMatcher::DefaultStepLimit(std::size_t textLength) {
    return 1'000'000 + 1'000 * static_cast<std::uint64_t>(textLength);
}

void PatternMatchContext::Reset(unsigned groupCount, unsigned memoryCount, const wchar_t* text,
                                std::size_t length) {
    m_text = text;
    m_length = length;
    m_groupCount = groupCount;
    m_matchStart = kNoPos;
    m_matchEnd = kNoPos;
    m_groups.assign(groupCount, Group{});
    m_memory.assign(memoryCount, 0);
    m_stack.assign(256, 0);
    m_top = 0;
    m_limitReached = false;
}

bool PatternMatchContext::Push(std::uint64_t value) {
    if (m_top == m_stack.size()) {
        std::size_t grown = 2 * m_top + 2;
        if (grown > PatternMatcher::kMaxStackEntries)
            grown = PatternMatcher::kMaxStackEntries;
        if (grown <= m_top)
            return false;
        try {
            m_stack.resize(grown);
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    m_stack[m_top++] = value;
    return true;
}

std::uint64_t PatternMatchContext::Pop() {
    if (m_top == 0)
        throw PatternArgumentError();
    return m_stack[--m_top];
}

void PatternMatchContext::GetMatch(unsigned group, const wchar_t** start,
                                   const wchar_t** end) const {
    if (group >= m_groupCount || group >= m_groups.size())
        throw PatternArgumentError();
    const Group& g = m_groups[group];
    const bool set =
        m_text && g.start != kNoPos && g.end != kNoPos && g.start <= g.end && g.end <= m_length;
    if (start)
        *start = set ? m_text + g.start : nullptr;
    if (end)
        *end = set ? m_text + g.end : nullptr;
}

const wchar_t* PatternMatchContext::GetMatchStart() const {
    return m_text && m_matchStart <= m_length ? m_text + m_matchStart : nullptr;
}

const wchar_t* PatternMatchContext::GetMatchEnd() const {
    return m_text && m_matchEnd <= m_length ? m_text + m_matchEnd : nullptr;
}

int PatternMatcher::Match(const wchar_t* text, PatternMatchContext* context) const {
    if (!text || !context)
        return 0;
    const std::size_t length = std::wcslen(text);
    PatternMatchContext& ctx = *context;
    ctx.Reset(m_groupCount, m_memoryCount, text, length);
    if (m_error != kPatternOk || m_program.empty())
        return 0;

    const std::uint64_t limit = m_stepLimit ? m_stepLimit : DefaultStepLimit(length);
    auto position = [&](std::uint64_t value) {
        if (value > length)
            throw PatternArgumentError();
        return value;
    };
    auto memory = [&](std::uint64_t slot) -> std::uint64_t& {
        if (slot >= ctx.m_memory.size())
            throw PatternArgumentError();
        return ctx.m_memory[slot];
    };
    auto group = [&](std::uint64_t g) -> PatternMatchContext::Group& {
        if (g >= ctx.m_groups.size())
            throw PatternArgumentError();
        return ctx.m_groups[g];
    };
    auto groupPosition = [&](std::uint64_t value) {
        return value == PatternMatchContext::kNoPos ? value : position(value);
    };

    std::size_t ip = 0;
    std::uint64_t pos = 0;
    std::uint64_t start = 0;
    bool failed = false;
    for (std::uint64_t steps = 0;; ++steps) {
        if (failed) {
            // On failure the stack holds where to go on; empty means the top.
            ip = ctx.m_top ? static_cast<std::size_t>(ctx.Pop()) : 0;
            failed = false;
        }
        if (steps >= limit) {
            ctx.m_limitReached = true;
            return 0;
        }
        if (ip == 0)
            ctx.m_matchStart = pos;
        const PatternInstruction& in = GetInstruction(ip);
        bool pushed = true;
        switch (in.op) {
        case PatternOp::Nop:
            ++ip;
            break;
        case PatternOp::GroupStart:
            group(in.operand).start = pos;
            ++ip;
            break;
        case PatternOp::GroupEnd:
            group(in.operand).end = pos;
            ++ip;
            break;
        case PatternOp::Symbol:
            if (in.operand == 0) {
                // The end of the input; nothing to step over.
                failed = pos != length;
                ++ip;
            } else if (pos < length && Unit(text[pos]) == in.operand) {
                ++pos;
                ++ip;
            } else {
                failed = true;
            }
            break;
        case PatternOp::Any:
            if (pos >= length) {
                failed = true;
            } else {
                ++pos;
                ++ip;
            }
            break;
        case PatternOp::RangeSet:
        case PatternOp::NotRangeSet: {
            if (pos >= length) {
                failed = true;
                break;
            }
            const std::uint32_t ch = Unit(text[pos]);
            bool inSet = false;
            for (std::size_t k = ip + 1; k + 1 < in.operand; k += 2) {
                if (ch >= GetInstruction(k).operand && ch <= GetInstruction(k + 1).operand) {
                    inSet = true;
                    break;
                }
            }
            if (inSet == (in.op == PatternOp::RangeSet)) {
                ++pos;
                ip = static_cast<std::size_t>(in.operand);
            } else {
                failed = true;
            }
            break;
        }
        case PatternOp::Jump:
            ip = static_cast<std::size_t>(in.operand);
            break;
        case PatternOp::PushCharPos:
            pushed = ctx.Push(pos);
            ++ip;
            break;
        case PatternOp::PopCharPos:
            pos = position(ctx.Pop());
            ++ip;
            break;
        case PatternOp::Call:
            pushed = ctx.Push(ip + 1);
            ip = static_cast<std::size_t>(in.operand);
            break;
        case PatternOp::Return:
            failed = true;
            break;
        case PatternOp::PushMemory:
            pushed = ctx.Push(memory(in.operand));
            ++ip;
            break;
        case PatternOp::PopMemory: {
            std::uint64_t& slot = memory(in.operand);
            slot = ctx.Pop();
            ++ip;
            break;
        }
        case PatternOp::StoreCharPos:
            memory(in.operand) = pos;
            ++ip;
            break;
        case PatternOp::StoreStackPos:
            memory(in.operand) = ctx.m_top;
            ++ip;
            break;
        case PatternOp::GetCharPos:
            pos = position(memory(in.operand));
            ++ip;
            break;
        case PatternOp::GetStackPos: {
            const std::uint64_t top = memory(in.operand);
            if (top > ctx.m_top)
                throw PatternArgumentError();
            ctx.m_top = static_cast<std::size_t>(top);
            ++ip;
            break;
        }
        case PatternOp::RetNoMatch:
            if (pos == memory(in.operand))
                failed = true;
            else
                ++ip;
            break;
        case PatternOp::Previous: {
            const PatternMatchContext::Group& g = group(in.operand);
            std::uint64_t size = 0;
            if (g.start != PatternMatchContext::kNoPos && g.end != PatternMatchContext::kNoPos &&
                g.start <= g.end)
                size = g.end - g.start;
            if (size > length - pos ||
                (size > 0 && std::wmemcmp(text + g.start, text + pos, size) != 0)) {
                failed = true;
            } else {
                pos += size;
                ++ip;
            }
            break;
        }
        case PatternOp::Fail:
            return 0;
        case PatternOp::Advance:
            ++start;
            if (start >= length)
                return 0;
            ctx.m_top = 0;
            pos = start;
            ip = 0;
            break;
        case PatternOp::Accept:
            ctx.m_matchEnd = pos;
            return 1;
        case PatternOp::PushGroup: {
            const PatternMatchContext::Group& g = group(in.operand);
            pushed = ctx.Push(g.start) && ctx.Push(g.end);
            ++ip;
            break;
        }
        case PatternOp::PopGroup: {
            PatternMatchContext::Group& g = group(in.operand);
            g.end = groupPosition(ctx.Pop());
            g.start = groupPosition(ctx.Pop());
            ++ip;
            break;
        }
        default:
            throw PatternArgumentError();
        }
        if (!pushed) {
            // No room left to remember the way back: give up rather than
            // carry on with a stack that no longer fits the program.
            ctx.m_limitReached = true;
            return 0;
        }
    }
}

int ApplyPattern(const CString& text, const CString& pattern, CStringArray& groups) {
    if (text.IsEmpty() || pattern.IsEmpty())
        return 0;
    groups.RemoveAll();
    // The refreshes apply one pattern to every link: its program is kept between calls.
    struct Compiled {
        std::wstring pattern;
        PatternMatcher matcher;
        int error = kPatternOk;
    };
    static std::unique_ptr<Compiled> last; // the host calls on its main thread only
    if (!last || last->pattern != pattern.GetString()) {
        last = std::make_unique<Compiled>();
        last->pattern = pattern.GetString();
        last->error = last->matcher.Parse(pattern.GetString());
    }
    if (last->error != kPatternOk)
        return 0;
    const PatternMatcher& matcher = last->matcher;
    PatternMatchContext context;
    try {
        if (!matcher.Match(text.GetString(), &context))
            return 0;
        for (unsigned g = 0; g < context.GetGroupCount(); ++g) {
            const wchar_t* start = nullptr;
            const wchar_t* end = nullptr;
            context.GetMatch(g, &start, &end);
            groups.Add(start ? CString(start, static_cast<int>(end - start)) : CString());
        }
    } catch (const PatternArgumentError&) {
        groups.RemoveAll();
        return 0;
    }
    return 1;
}
