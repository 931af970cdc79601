// The channel and the entries of a feed or entry document, a service error and a service
// document, read through the public properties as a host would: entries by moving EntryIndex.
#include "Report.h"

#include <cstdio>
#include <string>

namespace quillon::cli {

namespace {
std::string Get(Quillon& component, const char* name, int index = -1) {
  std::string value;
  if (component.GetProperty(name, index, value) != 0) value.clear();
  return value;
}

int GetNumber(Quillon& component, const char* name, int index = -1) {
  return std::atoi(Get(component, name, index).c_str());
}

constexpr const char* kChannelTexts[] = {
    "ChannelTitle",          "ChannelSubtitle",        "ChannelId",
    "ChannelUpdated",        "ChannelAuthorName",      "ChannelAuthorEmail",
    "ChannelAuthorUri",      "ChannelContributorName", "ChannelContributorEmail",
    "ChannelContributorUri", "ChannelCategoryTerm",    "ChannelCategoryScheme",
    "ChannelCategoryLabel",  "ChannelGenerator",       "ChannelIcon",
    "ChannelLogo",           "ChannelRights",          "ChannelLinkHref",
    "ChannelLinkRel",        "ChannelLinkTitle",       "ChannelLinkType",
    "ChannelLinkHrefLang",   "ChannelLinkLength",
};
constexpr const char* kChannelTextTypes[] = {"ChannelTitleTextType", "ChannelSubtitleTextType",
                                             "ChannelRightsTextType"};

constexpr const char* kEntryTexts[][2] = {
    {"EntryId", "Id"},     {"EntryTitle", "Title"},     {"EntrySummary", "Summary"},
    {"EntryETag", "ETag"}, {"EntryUpdated", "Updated"}, {"EntryAuthor", "Author"},
};

void PrintEntry(Quillon& component) {
  for (const auto& [property, label] : kEntryTexts) {
    const std::string value = Get(component, property);
    if (!value.empty())
      std::printf("  %-8s %s\n", (std::string(label) + ":").c_str(), value.c_str());
  }
  const int links = GetNumber(component, "EntryLinksCount");
  if (links > 0) std::printf("  Links:\n");
  for (int i = 0; i < links; ++i)
    std::printf("    %s -> %s\n", Get(component, "EntryLinksTitle", i).c_str(),
                Get(component, "EntryLinksResourcePath", i).c_str());
  const int properties = GetNumber(component, "EntryPropertiesCount");
  if (properties > 0) std::printf("  Properties:\n");
  for (int i = 0; i < properties; ++i) {
    const std::string type = Get(component, "EntryPropertiesType", i);
    const bool isNull = Get(component, "EntryPropertiesIsNull", i) == "-1";
    std::printf("    %s%s%s = %s\n", Get(component, "EntryPropertiesName", i).c_str(),
                type.empty() ? "" : " [", type.empty() ? "" : (type + "]").c_str(),
                isNull ? "null" : Get(component, "EntryPropertiesValue", i).c_str());
  }
}

void PrintFeed(Quillon& component) {
  std::printf("Feed\n");
  for (const char* name : kChannelTexts) {
    const std::string value = Get(component, name);
    if (!value.empty()) std::printf("  %s: %s\n", name, value.c_str());
  }
  for (const char* name : kChannelTextTypes)
    if (GetNumber(component, name) != 0)
      std::printf("  %s: %d\n", name, GetNumber(component, name));
  const std::string token = Get(component, "QuerySkipToken");
  if (!token.empty()) std::printf("  Next page: QuerySkipToken %s\n", token.c_str());
  const int count = GetNumber(component, "EntryCount");
  std::printf("%d %s\n", count, count == 1 ? "entry" : "entries");
  for (int i = 0; i < count; ++i) {
    component.SetProperty("EntryIndex", std::to_string(i));
    std::printf("\nEntry %d of %d\n", i + 1, count);
    PrintEntry(component);
  }
}

// The collections of each workspace, found with the response document's cursor.
void PrintServiceDocument(Quillon& component) {
  std::printf("Service document\n");
  for (int w = 1;; ++w) {
    const std::string workspace = "/service/workspace[" + std::to_string(w) + "]";
    if (!component.HasXPath(workspace)) break;
    std::string title;
    if (component.SetProperty("XPath", workspace + "/title") == 0) title = Get(component, "XText");
    std::printf("  Workspace %d%s%s\n", w, title.empty() ? "" : ": ", title.c_str());
    for (int c = 1;; ++c) {
      const std::string collection = workspace + "/collection[" + std::to_string(c) + "]";
      if (component.SetProperty("XPath", collection) != 0) break;
      std::string href;
      for (int a = 0; a < GetNumber(component, "AttrCount"); ++a)
        if (Get(component, "AttrName", a) == "href") href = Get(component, "AttrValue", a);
      title.clear();
      if (component.SetProperty("XPath", collection + "/title") == 0)
        title = Get(component, "XText");
      std::printf("    %s%s(href %s)\n", title.c_str(), title.empty() ? "" : "  ", href.c_str());
    }
  }
}

void WriteEntryJson(Quillon& component, JsonWriter& json) {
  json.BeginObject();
  for (const auto& [property, label] : kEntryTexts) {
    (void)label;
    json.Field(property, Get(component, property));
  }
  json.Key("links");
  json.BeginArray();
  const int links = GetNumber(component, "EntryLinksCount");
  for (int i = 0; i < links; ++i) {
    json.BeginObject();
    json.Field("EntryLinksTitle", Get(component, "EntryLinksTitle", i));
    json.Field("EntryLinksResourcePath", Get(component, "EntryLinksResourcePath", i));
    json.EndObject();
  }
  json.EndArray();
  json.Key("properties");
  json.BeginArray();
  const int properties = GetNumber(component, "EntryPropertiesCount");
  for (int i = 0; i < properties; ++i) {
    json.BeginObject();
    json.Field("EntryPropertiesName", Get(component, "EntryPropertiesName", i));
    json.Field("EntryPropertiesType", Get(component, "EntryPropertiesType", i));
    json.Field("EntryPropertiesValue", Get(component, "EntryPropertiesValue", i));
    json.Field("EntryPropertiesIsNull", Get(component, "EntryPropertiesIsNull", i) == "-1");
    json.Field("EntryPropertiesAttributes", Get(component, "EntryPropertiesAttributes", i));
    json.Field("EntryPropertiesXPath", Get(component, "EntryPropertiesXPath", i));
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
}
} // namespace

void PrintFeedText(Quillon& component) {
  const std::string kind = component.RootKind();
  if (kind == "feed") {
    PrintFeed(component);
  } else if (kind == "entry") {
    std::printf("Entry document\n");
    PrintEntry(component);
  } else if (kind == "error") {
    std::printf("Service error: %s\n", component.ErrorDescription().c_str());
  } else if (kind == "service") {
    PrintServiceDocument(component);
  }
}

void WriteFeedJson(Quillon& component, JsonWriter& json) {
  json.Key("channel");
  json.BeginObject();
  for (const char* name : kChannelTexts)
    json.Field(name, Get(component, name));
  for (const char* name : kChannelTextTypes)
    json.Field(name, GetNumber(component, name));
  json.EndObject();
  json.Key("entries");
  json.BeginArray();
  const int count = GetNumber(component, "EntryCount");
  for (int i = 0; i < count; ++i) {
    component.SetProperty("EntryIndex", std::to_string(i));
    WriteEntryJson(component, json);
  }
  json.EndArray();
}

} // namespace quillon::cli
