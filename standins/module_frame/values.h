// Names and values, and their conversion to the fixed-size lists that modules exchange.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "module/framework/module_frame.h"

namespace module_frame {

struct NamedValue {
    std::string name;
    std::string value;
};

using Values = std::vector<NamedValue>;

// The text in a fixed-size field; a field without its NUL ends with the field.
[[nodiscard]] std::string_view FieldText(const char* field, std::size_t size);

// Copies what fits and fills the rest of the field with zeros, so that no old content leaks.
void FillField(char* field, std::size_t size, std::string_view text);

// The first kFrameworkMaxEntries values, over-long texts cut to their fields.
void FillList(const Values& values, ModuleParamList& list);

// True when the text fits its field with a NUL.
[[nodiscard]] bool FitsName(std::string_view name);
[[nodiscard]] bool FitsValue(std::string_view value);

// The last value set for each name, in the order of the last settings: replaying it has the effect
// of the whole history, without the overwritten steps.
class ValueHistory {
  public:
    // False: the name is new and kFrameworkMaxEntries names are remembered already.
    [[nodiscard]] bool HasRoomFor(std::string_view name) const;
    // Ignores nameless values (a module blanks the names it does not want replayed) and relations.
    void Remember(std::string_view name, std::string_view value);

    // Drops everything before: a loaded solution replaces earlier settings.
    void ReplaceAll(const Values& values);

    [[nodiscard]] const Values& All() const { return m_values; }

  private:
    Values m_values;
};

// A module keeps its relations to procedures itself and adds them when saving.
[[nodiscard]] bool IsRelation(std::string_view name);

}  // namespace module_frame
