// The plug-in's own small regular-expression engine.
//
// Syntax (not the usual one): {x} captures, (x) groups without capture, and
// alternation binds tighter than concatenation, so ab|cd is a, then b or c,
// then d. A pattern is compiled into a flat instruction list and run by a
// backtracking machine with an explicit stack. See docs/pattern-matcher.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <vector>

#include "afx.h"

// Compile results of PatternMatcher::Parse.
enum PatternParseError : int {
    kPatternOk = 0,
    kPatternOutOfMemory = 1, // also: nesting or program size beyond the compiler's limits
    kPatternBraceExpected = 2,
    kPatternParenExpected = 3,
    kPatternBracketExpected = 4,
    kPatternBadAbbreviation = 5,
    kPatternEmptySet = 6,
    kPatternBadGroup = 7,
    kPatternReversedRange = 8,
    kPatternEmptyRepeat = 9,
    kPatternNullInput = 10,
};

// Raised when an instruction, group or stack entry is read beyond its list;
// only a faulty program gets there. Carries E_INVALIDARG.
class PatternArgumentError : public std::exception {
public:
    static constexpr std::int32_t kInvalidArg = static_cast<std::int32_t>(0x80070057u);
    std::int32_t Error() const { return kInvalidArg; }
    const char* what() const noexcept override {
        return "E_INVALIDARG: pattern program read out of range";
    }
};

enum class PatternOp : std::uint32_t {
    Nop,
    GroupStart,
    GroupEnd,
    Symbol,
    Any,
    RangeSet,
    NotRangeSet,
    Jump,
    PushCharPos,
    PopCharPos,
    Call,
    Return,
    PushMemory,
    PopMemory,
    StoreCharPos,
    StoreStackPos,
    GetCharPos,
    GetStackPos,
    RetNoMatch,
    Previous,
    Fail,
    Advance,
    Accept,
    PushGroup,
    PopGroup,
};

struct PatternInstruction {
    PatternOp op;
    std::uint64_t operand;
};

class PatternMatcher;

// State and result of one match. Positions are offsets into the input;
// kNoPos marks a group that took no part.
class PatternMatchContext {
public:
    static constexpr std::uint64_t kNoPos = ~std::uint64_t{0};

    unsigned GetGroupCount() const { return m_groupCount; }
    // Start and end (one behind the last character) of a group, or two nulls
    // when it took no part. A group beyond the count throws PatternArgumentError.
    void GetMatch(unsigned group, const wchar_t** start, const wchar_t** end) const;
    const wchar_t* GetMatchStart() const;
    const wchar_t* GetMatchEnd() const;
    // True when the last match gave up at its step or stack limit.
    bool LimitReached() const { return m_limitReached; }

private:
    friend class PatternMatcher;
    struct Group {
        std::uint64_t start = kNoPos;
        std::uint64_t end = kNoPos;
    };

    void Reset(unsigned groupCount, unsigned memoryCount, const wchar_t* text, std::size_t length);
    bool Push(std::uint64_t value);
    std::uint64_t Pop();

    const wchar_t* m_text = nullptr;
    std::size_t m_length = 0;
    unsigned m_groupCount = 0;
    std::uint64_t m_matchStart = kNoPos;
    std::uint64_t m_matchEnd = kNoPos;
    std::vector<Group> m_groups;
    std::vector<std::uint64_t> m_memory;
    std::vector<std::uint64_t> m_stack;
    std::size_t m_top = 0; // 0: empty
    bool m_limitReached = false;
};

class PatternMatcher {
public:
    // Compiler limits; beyond them Parse answers kPatternOutOfMemory.
    static constexpr int kMaxNesting = 400;
    static constexpr std::size_t kMaxInstructions = std::size_t{1} << 22;
    static constexpr std::uint64_t kMaxCompileWork = std::uint64_t{1} << 23;
    // Matching limits; beyond them Match gives 0 and the context says so.
    static constexpr std::size_t kMaxStackEntries = std::size_t{1} << 24;

    // Compiles the pattern; 0 on success, otherwise a PatternParseError.
    // A previous program is dropped first. Matching is always case-sensitive.
    int Parse(const wchar_t* pattern);
    // 1 when the pattern matches somewhere in the text, else 0.
    int Match(const wchar_t* text, PatternMatchContext* context) const;

    int GetError() const { return m_error; }
    unsigned GetGroupCount() const { return m_groupCount; }
    unsigned GetMemoryCount() const { return m_memoryCount; }
    std::size_t GetInstructionCount() const { return m_program.size(); }
    // Throws PatternArgumentError beyond the list.
    const PatternInstruction& GetInstruction(std::size_t index) const;

    // Machine steps a match may take before it gives up; 0 restores the
    // default, which grows with the length of the text.
    void SetStepLimit(std::uint64_t steps) { m_stepLimit = steps; }
    static std::uint64_t DefaultStepLimit(std::size_t textLength);

private:
    friend class PatternCompiler;
    int m_error = kPatternNullInput;
    std::vector<PatternInstruction> m_program;
    unsigned m_groupCount = 0;
    unsigned m_memoryCount = 0;
    std::uint64_t m_stepLimit = 0;
};

// Finds the pattern anywhere in the text and gives its capture groups in the
// order of their opening braces, a group that took no part as an empty entry.
// 1 on a match; 0 for an empty text or pattern (the array left as it is), a
// compile error or no match.
int ApplyPattern(const CString& text, const CString& pattern, CStringArray& groups);
