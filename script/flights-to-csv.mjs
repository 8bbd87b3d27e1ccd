// Turns the flights of the npm package vega-datasets (Parquet) into the CSV that the demonstration reads:
//
//   node flights-to-csv.mjs flights-3m.parquet flights-3m.csv
//
// The rows come sorted by departure and stay in the order of the source. The packages hyparquet and
// hyparquet-compressors must be installed in a folder above this file.
import { createWriteStream } from 'node:fs'
import { Readable } from 'node:stream'
import { pipeline } from 'node:stream/promises'
import { asyncBufferFromFile, parquetMetadataAsync, parquetRead } from 'hyparquet'
import { compressors } from 'hyparquet-compressors'

const [source, destination] = process.argv.slice(2)
const sourceColumns = ['date', 'delay', 'distance', 'origin', 'destination']

// "2001-01-01 00:01": the source has whole minutes.
const minute = date => date.toISOString().slice(0, 16).replace('T', ' ')

async function* csv() {
  yield 'departure,delay,distance,origin,destination\n'
  const file = await asyncBufferFromFile(source)
  const metadata = await parquetMetadataAsync(file)
  let rowStart = 0
  for (const group of metadata.row_groups) {
    const rowEnd = rowStart + Number(group.num_rows)
    let rows
    await parquetRead({
      file, metadata, compressors, columns: sourceColumns, rowStart, rowEnd, onComplete: data => { rows = data }
    })
    yield rows.map(([date, ...others]) => `${minute(date)},${others.join(',')}\n`).join('')
    rowStart = rowEnd
  }
}

await pipeline(Readable.from(csv()), createWriteStream(destination))
