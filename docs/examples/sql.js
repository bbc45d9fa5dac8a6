// Runs the SQL on standard input in a file of DuckDB and prints what each query answers.
//
//   node sql.js DATABASE <QUERIES
//
// Looks for the package @duckdb/node-api where NODE_PATH says.
const fs = require("fs");
const { DuckDBInstance } = require("@duckdb/node-api");

// Columns as wide as their widest text, numbers to the right.
function table(names, rows) {
  const texts = rows.map((row) => row.map((value) => String(value ?? "")));
  const widths = names.map((name, i) => Math.max(name.length, ...texts.map((row) => row[i].length)));
  const right = names.map((_, i) => rows.every((row) => ["number", "bigint"].includes(typeof row[i])));
  const line = (row) => row.map((text, i) => (right[i] ? text.padStart(widths[i]) : text.padEnd(widths[i]))).join("  ").trimEnd();
  return [names, ...texts].map(line).join("\n");
}

async function main(database) {
  const connection = await (await DuckDBInstance.create(database)).connect();
  const statements = await connection.extractStatements(fs.readFileSync(0, "utf8"));
  for (let i = 0; i < statements.count; i++) {
    const reader = await (await statements.prepare(i)).runAndReadAll();
    // What changes the database has one column, Count or Success.
    const names = reader.columnNames();
    if (/^(Count|Success)?$/.test(names.join())) continue;
    console.log(table(names, reader.getRows()));
  }
}

main(process.argv[2]).catch((error) => {
  console.error(error.message);
  process.exitCode = 1;
});
