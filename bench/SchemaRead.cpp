// The schema reader on generated EDMX documents of growing size: the parse alone, the parse with
// ReadSchema as a GetSchema response is read, and a host's walk over every entity set, property
// and navigation property. Growth is linear when the rate of entity types stays flat.
//   bench_SchemaRead
//   bench_SchemaRead --benchmark_filter=ReadSchema
#include "odata/QuillonCore.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

namespace {

using quillon::QuillonCore;

constexpr int kSchemas = 4;

std::string Name(const char* kind, int schema, int i) {
  return std::string(kind) + std::to_string(schema) + "_" + std::to_string(i);
}
std::string Qualified(int schema, const std::string& name) {
  return "Catalog" + std::to_string(schema) + "." + name;
}

void AppendDocumentation(std::string& out, const std::string& what, const char* indent) {
  out += std::string(indent) + "<Documentation><Summary>The " + what +
         " as the service shows it.</Summary><LongDescription>Kept for reporting; read only "
         "through the service's own operations.</LongDescription></Documentation>\n";
}

// Entity type i of a schema: a key, a dozen properties of which one is complex, and two
// navigation properties; the second crosses to the association of the next schema.
void AppendEntityType(std::string& out, int schema, int i, int types) {
  const std::string type = Name("Item", schema, i);
  out += "      <EntityType Name=\"" + type + "\" m:HasStream=\"false\">\n";
  AppendDocumentation(out, "item", "        ");
  out += "        <Key><PropertyRef Name=\"Id\"/><PropertyRef Name=\"Version\"/></Key>\n"
         "        <Property Name=\"Id\" Type=\"Edm.Int32\" Nullable=\"false\"/>\n"
         "        <Property Name=\"Version\" Type=\"Edm.Int16\" Nullable=\"false\" "
         "ConcurrencyMode=\"Fixed\"/>\n";
  static const char* const kTypes[] = {"Edm.String", "Edm.DateTime", "Edm.Decimal", "Edm.Boolean",
                                       "Edm.Guid"};
  for (int p = 0; p < 9; ++p)
    out += "        <Property Name=\"Field" + std::to_string(p) + "\" Type=\"" + kTypes[p % 5] +
           "\" MaxLength=\"" + std::to_string(20 + p) + "\" sap:label=\"Field " +
           std::to_string(p) + "\" m:FC_KeepInContent=\"true\"/>\n";
  out += "        <Property Name=\"Place\" Type=\"" +
         Qualified(schema, Name("Address", schema, i % 50)) + "\" Nullable=\"false\"/>\n";
  const int next = (i + 1) % types;
  out += "        <NavigationProperty Name=\"Next\" Relationship=\"" +
         Qualified(schema, Name("Link", schema, i)) + "\" FromRole=\"From\" ToRole=\"To\"/>\n";
  out += "        <NavigationProperty Name=\"Previous\" Relationship=\"" +
         Qualified(schema, Name("Link", schema, next)) + "\" FromRole=\"To\" ToRole=\"From\"/>\n";
  out += "        <NavigationProperty Name=\"Elsewhere\" Relationship=\"" +
         Qualified((schema + 1) % kSchemas, Name("Link", (schema + 1) % kSchemas, i)) +
         "\" FromRole=\"From\" ToRole=\"To\"/>\n"
         "      </EntityType>\n";
}

void AppendAssociation(std::string& out, int schema, int i, int types) {
  const int next = (i + 1) % types;
  out += "      <Association Name=\"" + Name("Link", schema, i) + "\">\n";
  AppendDocumentation(out, "link", "        ");
  out += "        <End Role=\"From\" Type=\"" + Qualified(schema, Name("Item", schema, i)) +
         "\" Multiplicity=\"1\">\n"
         "          <OnDelete Action=\"Cascade\"/>\n"
         "        </End>\n"
         "        <End Role=\"To\" Type=\"" +
         Qualified(schema, Name("Item", schema, next)) +
         "\" Multiplicity=\"*\"/>\n"
         "      </Association>\n";
}

// kSchemas schemas of `types` entity types each, with as many associations and a container.
std::string MakeEdmx(int types) {
  std::string out =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
      "<edmx:Edmx Version=\"1.0\" xmlns:edmx=\"http://schemas.microsoft.com/ado/2007/06/edmx\" "
      "xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\" "
      "xmlns:sap=\"http://www.sap.com/Protocols/SAPData\">\n"
      "  <edmx:DataServices m:DataServiceVersion=\"2.0\">\n";
  for (int s = 0; s < kSchemas; ++s) {
    out += "    <Schema Namespace=\"Catalog" + std::to_string(s) +
           "\" xmlns=\"http://schemas.microsoft.com/ado/2008/09/edm\">\n";
    for (int i = 0; i < types; ++i)
      AppendEntityType(out, s, i, types);
    for (int i = 0; i < 50 && i < types; ++i) {
      out += "      <ComplexType Name=\"" + Name("Address", s, i) + "\">\n";
      for (const char* field : {"Street", "City", "Region", "PostalCode", "Country"})
        out += std::string("        <Property Name=\"") + field +
               "\" Type=\"Edm.String\" MaxLength=\"40\"/>\n";
      out += "      </ComplexType>\n";
    }
    for (int i = 0; i < types; ++i)
      AppendAssociation(out, s, i, types);
    out += "      <EntityContainer Name=\"Container" + std::to_string(s) + "\">\n";
    for (int i = 0; i < types; ++i)
      out += "        <EntitySet Name=\"" + Name("Items", s, i) + "\" EntityType=\"" +
             Qualified(s, Name("Item", s, i)) + "\"/>\n";
    for (int i = 0; i < types; ++i)
      out += "        <AssociationSet Name=\"" + Name("Links", s, i) + "\" Association=\"" +
             Qualified(s, Name("Link", s, i)) + "\"><End Role=\"From\" EntitySet=\"" +
             Name("Items", s, i) + "\"/><End Role=\"To\" EntitySet=\"" +
             Name("Items", s, (i + 1) % types) + "\"/></AssociationSet>\n";
    out += "      </EntityContainer>\n    </Schema>\n";
  }
  out += "  </edmx:DataServices>\n</edmx:Edmx>\n";
  return out;
}

// Entity types per schema, four schemas: about 0.8, 3 and 6 MB.
constexpr int kSizes[] = {100, 400, 800};

const std::string& Edmx(int types) {
  static std::map<int, std::string> documents;
  auto found = documents.find(types);
  if (found == documents.end()) found = documents.emplace(types, MakeEdmx(types)).first;
  return found->second;
}

int Parse(QuillonCore& core, const std::string& text) {
  core.parser.PrepareForDocument();
  core.parser.ConfigText("KeepOriginalText=TRUE", nullptr);
  const int rc = core.parser.Parse(text);
  return rc != 0 ? rc : core.parser.SetXPath("/");
}

void Report(benchmark::State& state, const std::string& text, int types) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(text.size()));
  state.counters["MB"] = static_cast<double>(text.size()) / 1e6;
  state.counters["types"] = types * kSchemas;
  state.counters["types_per_second"] =
      benchmark::Counter(types * kSchemas, benchmark::Counter::kIsIterationInvariantRate);
}

void ParseOnly(benchmark::State& state) {
  const int types = static_cast<int>(state.range(0));
  const std::string& text = Edmx(types);
  QuillonCore core;
  for (auto _ : state)
    if (Parse(core, text) != 0) state.SkipWithError(core.parser.LastErrorText());
  Report(state, text, types);
}

// What a GetSchema response costs: the parse, ReadSchema with its second pass, entity 0 selected.
void ReadSchema(benchmark::State& state) {
  const int types = static_cast<int>(state.range(0));
  const std::string& text = Edmx(types);
  QuillonCore core;
  for (auto _ : state) {
    if (Parse(core, text) != 0) state.SkipWithError(core.parser.LastErrorText());
    core.ClearSchema();
    if (core.ReadSchema() != 0) state.SkipWithError(core.LastErrorText());
    benchmark::DoNotOptimize(core.entitySets.Count());
  }
  Report(state, text, types);
}

// A host that fills a view: every entity set selected, every property and navigation property
// made current and read.
void WalkSchema(benchmark::State& state) {
  const int types = static_cast<int>(state.range(0));
  const std::string& text = Edmx(types);
  QuillonCore core;
  if (Parse(core, text) != 0 || core.ReadSchema() != 0) {
    state.SkipWithError("read failed");
    return;
  }
  for (auto _ : state) {
    size_t bytes = 0;
    for (int e = 0; e < core.entitySets.Count(); ++e) {
      core.SetSchemaEntityIndex(e);
      const quillon::SchemaEntityType* type = core.CurrentEntityType();
      for (int p = 0; type && p < type->properties.Count(); ++p) {
        core.SetSchemaPropertyIndex(p);
        bytes += core.CurrentProperty()->type.Length();
      }
      for (int n = 0; type && n < type->navigation.Count(); ++n) {
        core.SetSchemaAssociationIndex(n);
        bytes += core.CurrentNavigation()->toEntity.Length();
      }
    }
    benchmark::DoNotOptimize(bytes);
  }
  Report(state, text, types);
}

void Sizes(benchmark::internal::Benchmark* bench) {
  for (int types : kSizes)
    bench->Arg(types);
  bench->Unit(benchmark::kMillisecond);
}

BENCHMARK(ParseOnly)->Apply(Sizes);
BENCHMARK(ReadSchema)->Apply(Sizes);
BENCHMARK(WalkSchema)->Apply(Sizes);

} // namespace

BENCHMARK_MAIN();
