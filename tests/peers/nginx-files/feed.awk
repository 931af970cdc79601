# Writes an Atom feed of COUNT entries of the Items set that metadata.xml describes; with
# ENTRY=1 writes entry 1 alone as an entry document.
BEGIN {
  base = "http://localhost/odata/"
  print "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
  ns = "xmlns=\"http://www.w3.org/2005/Atom\" " \
       "xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\" " \
       "xmlns:d=\"http://schemas.microsoft.com/ado/2007/08/dataservices\""
  if (ENTRY) {
    entry(1, ns " xml:base=\"" base "\"")
    exit
  }
  print "<feed xml:base=\"" base "\" " ns ">"
  print "  <id>" base "Items</id>"
  print "  <title type=\"text\">Items</title>"
  print "  <updated>2024-05-01T10:00:00Z</updated>"
  print "  <link rel=\"self\" title=\"Items\" href=\"Items\"/>"
  for (i = 1; i <= COUNT; i++)
    entry(i, "")
  print "</feed>"
}
function entry(i, attributes) {
  print "  <entry" (attributes ? " " attributes : "") " m:etag=\"W/&quot;" i "&quot;\">"
  print "    <id>" base "Items(" i ")</id>"
  print "    <title type=\"text\">Item " i "</title>"
  print "    <updated>2024-05-01T10:00:00Z</updated>"
  print "    <author><name/></author>"
  print "    <link rel=\"edit\" title=\"Item\" href=\"Items(" i ")\"/>"
  print "    <category term=\"PeerModel.Item\" scheme=\"http://schemas.microsoft.com/ado/2007/08/dataservices/scheme\"/>"
  print "    <content type=\"application/xml\">"
  print "      <m:properties>"
  print "        <d:ID m:type=\"Edm.Int32\">" i "</d:ID>"
  print "        <d:Name>Item " i " Grüße ÆØÅ 日本</d:Name>"
  printf "        <d:Price m:type=\"Edm.Decimal\">%d.%02d</d:Price>\n", i, i % 100
  printf "        <d:Changed m:type=\"Edm.DateTime\">2024-05-%02dT10:%02d:00</d:Changed>\n", i % 28 + 1, i % 60
  print "      </m:properties>"
  print "    </content>"
  print "  </entry>"
}
