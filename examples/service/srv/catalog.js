// Implements the function of the catalog service; the entity sets need no code.
const cds = require("@sap/cds");

module.exports = class CatalogService extends cds.ApplicationService {
  init() {
    this.on("SupplierAddress", async (req) => {
      const supplier = await SELECT.one.from("quillon.sample.Suppliers").where({ ID: req.data.ID });
      if (!supplier) return req.reject(404, `No supplier ${req.data.ID}.`);
      return {
        Street: supplier.Address_Street,
        City: supplier.Address_City,
        PostalCode: supplier.Address_PostalCode,
        Country: supplier.Address_Country,
      };
    });
    return super.init();
  }
};
