// The service the sample publishes: /odata/v2/catalog/ in Atom, with small server pages.
using quillon.sample as db from '../db/schema';

@path: 'catalog'
service CatalogService {
  @cds.query.limit: { default: 5, max: 5 }
  entity Products   as projection on db.Products;

  @cds.query.limit: { default: 5, max: 5 }
  entity Categories as projection on db.Categories;

  @cds.query.limit: { default: 5, max: 5 }
  entity Suppliers  as projection on db.Suppliers;

  // OData V2 has entities flat, so the address comes back as a complex value from here.
  type Address : db.Address;
  function SupplierAddress(ID : Integer) returns Address;
}
