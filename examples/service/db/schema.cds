// The sample's data model: products in categories, sold by suppliers.
namespace quillon.sample;

type Address {
  Street     : String(60);
  City       : String(40);
  PostalCode : String(10);
  Country    : String(40);
}

entity Categories {
  key ID          : Integer;
      Name        : String(40);
      Description : String(200);
      Products    : Association to many Products on Products.Category = $self;
}

entity Suppliers {
  key ID       : Integer;
      Name     : String(60);
      Address  : Address;
      Phone    : String(24);
      Products : Association to many Products on Products.Supplier = $self;
}

entity Products {
  key ID           : Integer;
      Name         : String(60);
      Description  : String(200);
      ReleaseDate  : Date;
      Rating       : Integer;
      Price        : Decimal(9, 2);
      Category     : Association to Categories;
      Supplier     : Association to Suppliers;
      @odata.etag
      ModifiedAt   : Timestamp @cds.on.insert: $now  @cds.on.update: $now;
}
